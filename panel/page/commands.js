// What a person may do, in two steps: enter what is new, then see old and new side by
// side and confirm. Then it tells what became of it.

import { button, make, setText, table } from "./dom.js";
import { onOff, whole, withUnit } from "./format.js";
import { said } from "./strings.js";

const keptAnswers = 64;
const patience = 30000;  // ms, beyond the period's own length

// Answers come by the stream, for commands of anybody; a command's own may come before
// the panel has told its number.
export class CAnswers {
  constructor() {
    this.known = new Map();
    this.waiting = new Map();
  }

  take(answer) {
    const waits = this.waiting.get(answer.number);
    if (waits) {
      this.waiting.delete(answer.number);
      waits(answer);
      return;
    }
    this.known.set(answer.number, answer);
    if (this.known.size > keptAnswers) this.known.delete(this.known.keys().next().value);
  }

  of(number) {
    const known = this.known.get(number);
    if (known) {
      this.known.delete(number);
      return Promise.resolve(known);
    }
    return new Promise((done) => this.waiting.set(number, done));
  }
}

export class CCommands {
  constructor(store, connection, answers) {
    this.store = store;
    this.connection = connection;
    this.answers = answers;
    this.dialog = make("dialog", { class: "command", "aria-labelledby": "command-title", onclose: () => this.ended() });
    document.body.append(this.dialog);
  }

  // The browser tells it later: another may have been opened meanwhile.
  ended() {
    if (this.dialog.open) return;
    this.dialog.replaceChildren();
    ++this.turn;
    if (this.before && this.before.isConnected) this.before.focus();
  }

  open(title) {
    this.turn = (this.turn || 0) + 1;
    this.before = document.activeElement;
    this.body = make("div", { class: "body" });
    this.dialog.replaceChildren(make("h2", { id: "command-title" }, title), this.body);
    this.dialog.showModal();
  }

  step(children, buttons, onsubmit) {
    const form = make("form", { method: "dialog", onsubmit: (event) => { event.preventDefault(); onsubmit(); } },
      ...children, make("div", { class: "buttons" }, ...buttons));
    this.body.replaceChildren(form);
  }

  cancel() {
    return button(said("Cancel"), () => this.dialog.close());
  }

  // The first step: `fields` are shown, and `read` yields {rows, path, body}, or a
  // sentence that tells why what is entered can't be.
  enter(fields, read) {
    const wrong = make("p", { class: "warning", role: "alert" });
    const back = () => {
      this.step([...fields, wrong], [make("button", { type: "submit" }, said("Next")), this.cancel()], () => {
        const change = read();
        if (typeof change === "string") {
          setText(wrong, change);
          return;
        }
        setText(wrong, "");
        this.confirm(change, back);
      });
      const first = this.body.querySelector("input, select");
      if (first) {
        first.focus();
        if (first.select) first.select();
      }
    };
    back();
  }

  // The second: rows of [thing, old, new].
  confirm(change, back) {
    const go = make("button", { type: "submit", class: change.isGrave ? "grave" : "go" }, change.word || said("Confirm"));
    this.step(
      [...(change.sentence ? [make("p", {}, change.sentence)] : []),
        ...(change.rows.length > 0 ? [table(said("what changes"), [said("what"), said("old"), said("new")], change.rows)] : [])],
      [go, ...(back ? [button(said("Back"), back)] : []), this.cancel()],
      () => this.send(change));
    go.focus();
  }

  async send(change) {
    const status = make("p", { role: "status", class: "outcome" });
    const close = button(said("Close"), () => this.dialog.close());
    const turn = this.turn;
    this.step([status], [close], () => this.dialog.close());
    close.focus();
    setText(status, said("Sent …"));
    const outcome = await this.outcome(change, status, turn);
    if (turn !== this.turn) return;
    setText(status, outcome.text);
    status.classList.add(outcome.isDone ? "is-done" : "is-refused");
  }

  async outcome({ path, body }, status, turn) {
    try {
      const { number } = await this.connection.post(path, body);
      if (turn === this.turn) setText(status, said("Taken. It acts at the start of the next period …"));
      const tooLate = new Promise((done) => setTimeout(done, patience + 1000 * this.store.model.period, null));
      const answer = await Promise.race([this.answers.of(number), tooLate]);
      if (answer === null) return { isDone: false, text: said("No answer came. The journal tells what became of it.") };
      return answer.done
        ? { isDone: true, text: "✔ " + said("Done in period {period}.", { period: answer.period }) }
        : { isDone: false, text: "✘ " + said("Refused: {why}", { why: answer.why }) };
    } catch (error) {
      return { isDone: false, text: "✘ " + said("Refused: {why}", { why: error.message }) };
    }
  }

  // --- What there is ---

  element(operator) {
    const element = this.store.model.elements[operator.element];
    const old = this.store.elementNow(operator.element);
    this.open(said("Change {thing}", { thing: operator.name }));
    if (operator.switch) {
      const value = old ? 0 : 1;
      this.confirm({ rows: [[operator.name, onOff(old), onOff(value)]], path: "/set", body: { thing: operator.name, value } });
      return;
    }
    const field = numberField("command-value", whole(old));
    field.setAttribute("aria-describedby", "command-hint");
    const told = (value) => withUnit(whole(value), element.unit);
    const hint = [];
    if (operator.range) hint.push(said("from {low} to {high}", { low: whole(operator.range[0]), high: told(operator.range[1]) }));
    if (operator.rate) hint.push(said("at most {rate} in a second", { rate: told(operator.rate) }));
    this.enter(
      [make("label", { for: "command-value" }, said("new value") + (element.unit ? ", " + element.unit : "")), field,
        make("p", { class: "dim", id: "command-hint" }, hint.join("; "))],
      () => {
        const value = numberIn(field.value);
        if (value === null) return said("This is not a number.");
        if (operator.range && (value < operator.range[0] || value > operator.range[1])) {
          return said("It must be from {low} to {high}.", { low: whole(operator.range[0]), high: told(operator.range[1]) });
        }
        const now = this.store.elementNow(operator.element);
        return {
          rows: [[operator.name, told(now), told(value)]],
          sentence: operator.rate ? said("It goes there by at most {rate} in a second.", { rate: told(operator.rate) }) : "",
          path: "/set", body: { thing: operator.name, value },
        };
      });
  }

  parameters(operator) {
    const index = operator.instrument;
    const instrument = this.store.model.instruments[index];
    const old = parametersNow(this.store, index);
    this.open(said("Parameters of {name}", { name: instrument.name }));
    const fields = instrument.parameters.map((parameter, k) => {
      const field = numberField("parameter-" + k, old[k] === null ? "" : whole(old[k]));
      return { parameter, field, element: pair(parameter.name + bounds(parameter), field) };
    });
    this.enter(
      [make("p", { class: "dim" }, said("They are set as a whole, or none of them is.")), ...fields.map(({ element }) => element)],
      () => {
        const values = {};
        const rows = [];
        for (const [k, { parameter, field }] of fields.entries()) {
          const value = numberIn(field.value);
          if (value === null) return parameter.name + ": " + said("This is not a number.");
          values[parameter.name] = value;
          rows.push([parameter.name, whole(old[k]), whole(value)]);
        }
        return { rows, path: "/parameters", body: { instrument: instrument.name, values } };
      });
  }

  takeBack(operator) {
    const instrument = this.store.model.instruments[operator.instrument];
    this.open(said("Take back parameters of {name}", { name: instrument.name }));
    this.confirm({
      rows: [], sentence: said("The parameters that stood there before they were changed last are set again."),
      path: "/take-back", body: { instrument: instrument.name },
    });
  }

  procedure(operator) {
    this.open(operator.name);
    const fields = Array.from({ length: operator.arguments || 0 }, (_, k) => numberField("argument-" + k, ""));
    const change = (values) => ({
      rows: values.map((value, k) => [said("argument {number}", { number: k + 1 }), "", whole(value)]),
      sentence: said("{name} is called.", { name: operator.name + "(" + values.map(whole).join(", ") + ")" }),
      path: "/call", body: { thing: operator.name, arguments: values },
    });
    if (fields.length === 0) {
      this.confirm(change([]));
      return;
    }
    this.enter(
      fields.map((field, k) => pair(said("argument {number}", { number: k + 1 }), field)),
      () => {
        const values = fields.map((field) => numberIn(field.value));
        return values.includes(null) ? said("This is not a number.") : change(values);
      });
  }

  plant(deed) {
    const told = {
      stop: [said("Stop to safe"), said("All outputs go to their safe values and stay there until they are released.")],
      release: [said("Release"), said("The regulators get the outputs back, from where they stand.")],
      unlatch: [said("Unlatch"), said("Outputs that stay safe after a loss are given back, where their inputs are good again.")],
    }[deed];
    this.open(told[0]);
    this.confirm({ rows: [], sentence: told[1], word: told[0], isGrave: deed === "stop", path: "/" + deed, body: {} });
  }

  // Acts at once: what can be undone and moves nothing.
  async alarm(path, body) {
    this.open(body.alarm);
    await this.send({ path, body });
  }

  shelve(name) {
    this.open(said("Shelve {name}", { name }));
    const until = make("input", { id: "shelve-minutes", type: "number", min: "1", max: "10080", value: "10", inputmode: "numeric" });
    const choices = [[10, said("10 min")], [60, said("1 h")], [480, said("8 h")]].map(([minutes, text]) =>
      button(text, () => { until.value = minutes; }));
    this.enter(
      [make("label", { for: "shelve-minutes" }, said("for so many minutes of the run")), until, make("div", { class: "buttons" }, ...choices)],
      () => {
        const minutes = numberIn(until.value);
        if (minutes === null || minutes <= 0) return said("This is not a number.");
        const end = (this.store.frame ? this.store.frame.time : 0) + 60 * minutes;
        return {
          rows: [[name, said("announced"), said("shelved until {time}", { time: whole(Math.round(end)) + " s" })]],
          path: "/shelve", body: { alarm: name, seconds: 60 * minutes },
        };
      });
  }

  // The buttons of an entry.
  buttonsOf(operator) {
    if (operator.kind === "element") {
      return [button(operator.switch ? said("Switch {thing}", { thing: operator.name }) : said("Change {thing}", { thing: operator.name }),
        () => this.element(operator))];
    }
    if (operator.kind === "parameters") {
      const thing = operator.name;
      return [button(said("Change {thing}", { thing }), () => this.parameters(operator)),
        button(said("Take back {thing}", { thing }), () => this.takeBack(operator))];
    }
    return [button(operator.name, () => this.procedure(operator))];
  }
}

// A decimal number, with a point or a comma.
function numberIn(text) {
  const plain = text.trim().replace(",", ".");
  const value = plain === "" ? NaN : Number(plain);
  return Number.isFinite(value) ? value : null;
}

const numberField = (id, value) => make("input", { id, inputmode: "decimal", autocomplete: "off", value });
const pair = (text, field) => make("p", { class: "pair" }, make("label", { for: field.id }, text), field);

const bounds = ({ low, high, openLow }) =>
  (low === null ? "" : (openLow ? " > " : " ≥ ") + whole(low)) + (high === null ? "" : " ≤ " + whole(high));

// Where the instrument's settings tell a parameter of the same name.
function parametersNow(store, index) {
  const instrument = store.model.instruments[index];
  const now = (store.frame && store.frame.settings && store.frame.settings[index]) || [];
  return instrument.parameters.map(({ name }) => {
    const place = (instrument.settings || []).findIndex((setting) => setting.name === name);
    return place < 0 || now[place] === undefined ? null : now[place];
  });
}
