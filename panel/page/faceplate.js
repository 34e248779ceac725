// All of one instrument.

import { CBar } from "./bar.js";
import { button, make, remPixels, setHidden, setText, terms } from "./dom.js";
import { decimalsFor, none, number, onOff, rounded, runTime, span, whole, withUnit } from "./format.js";
import { loopRoute } from "./router.js";
import { at, isBeyond, mark, modeLetters, modes, ofAlarm } from "./store.js";
import { alarmState } from "./alarms.js";
import { said } from "./strings.js";
import { outputText, titleOf, troubles, unitOf } from "./tile.js";
import { CTrend } from "./trend.js";

const pictureEvery = 500;  // ms
const drawnFor = 15;  // pixels of a line, at which panes have their own size
const qualities = ["good", "out of range", "not a number", "stale", "lost"];
const outputs = ["as computed", "limited", "held", "safe", "safe until it is unlatched", "stopped to safe", "dry: not written"];

export class CFaceplate {
  constructor(store, connection, commands, index, onclose) {
    this.store = store;
    this.connection = connection;
    this.index = index;
    const { model } = store;
    const instrument = (this.instrument = model.instruments[index]);
    this.heading = make("h2", { tabindex: "-1" }, instrument.name, make("span", { class: "title" }, titleOf(instrument)));
    this.mode = make("span", { class: "mode", "aria-hidden": "true" });
    this.why = make("span", {});
    this.troubles = make("ul", { class: "troubles", "aria-label": said("what limits it") });
    this.trend = new CTrend(store, connection, index);
    this.rows = ["value", "wish", "output"].map((what) => this.makeRow(what));
    this.element = make("section", { class: "faceplate", "aria-label": said("Faceplate of {name}", { name: instrument.name }) },
      make("div", { class: "heading" }, this.heading, button("✕", onclose, { "aria-label": said("close"), class: "close" })),
      make("p", { class: "state", hidden: !model.isLive }, this.mode, this.why), this.troubles,
      make("div", { class: "numbers" }, ...this.rows.map((row) => row.element)),
      this.makeCommands(commands), this.makeAlarms(), this.trend.element, this.makePicture(), ...this.makeDetails());
    this.shownWhy = null;
    this.pictureAt = -Infinity;
    this.stop = new AbortController();
  }

  focus() {
    this.heading.focus({ preventScroll: true });
  }

  close() {
    this.stop.abort();
    this.trend.close();
    this.element.remove();
  }

  makeRow(what) {
    const { instrument } = this;
    const unit = unitOf(instrument, what);
    const bar = new CBar(instrument.limits && instrument.limits[what], what).takeOwnCanvas();
    const digits = make("span", { class: "digits" });
    const range = make("span", { class: "range dim" });
    const [low, high] = (instrument.limits && instrument.limits[what]) || [null, null];
    const limits = low === null && high === null ? "" :
      "; " + said("limits") + " " + (low === null ? none : whole(low)) + " … " + (high === null ? none : whole(high));
    const hidden = instrument.kind === "meter" && what !== "value";
    return {
      what, bar, digits, range, limits, from: NaN, to: NaN, decimals: 2,
      element: make("div", { class: "row " + what, hidden }, make("span", { class: "label" }, said(what)), digits,
        make("span", { class: "unit" }, unit || ""), bar.element, range),
    };
  }

  // What an operator may do to this instrument: what names it, or one of its elements.
  makeCommands(commands) {
    const { model } = this.store;
    const own = [this.instrument.wishElement, this.instrument.valueElement, this.instrument.outputElement];
    const entries = model.operators.filter((operator) =>
      operator.kind === "element" ? own.includes(operator.element) : operator.instrument === this.index);
    if (entries.length === 0) return "";
    if (!model.mayOperate) return model.isLive ? make("p", { class: "dim" }, said("This link may see, not operate.")) : "";
    return make("div", { class: "commands", role: "group", "aria-label": said("Commands") },
      ...entries.flatMap((entry) => commands.buttonsOf(entry)));
  }

  makeAlarms() {
    this.alarmItems = this.store.alarmsByInstrument[this.index].map((k) => {
      const alarm = this.store.model.alarms[k];
      const state = make("span", { class: "dim" });
      const item = make("li", { class: alarm.priority },
        make("span", { class: "alarm " + alarm.priority }, mark[alarm.priority]), " ", alarm.name, " ", state);
      return { k, item, state };
    });
    return make("ul", { class: "own-alarms", "aria-label": said("alarms") }, ...this.alarmItems.map(({ item }) => item));
  }

  makePicture() {
    const { pane, name } = this.instrument;
    if (!pane || !this.store.model.isLive) return "";
    this.picture = make("img", { class: "panes", alt: said("The panes of {name}; the numbers above say the same.", { name }) });
    setHidden(this.picture, true);
    return this.picture;
  }

  makeDetails() {
    const { model } = this.store;
    const { instrument } = this;
    const link = (name) => make("a", { href: loopRoute(name) }, name);
    const own = [instrument.wishElement, instrument.valueElement, instrument.outputElement];
    const places = [];
    const isOwn = ({ element }) => element !== null && own.includes(element);
    this.inputs = model.inputs.map((input, k) => ({ input, k, cell: make("span") })).filter(({ input }) => isOwn(input));
    this.outputs = model.outputs.map((output, k) => ({ output, k, cell: make("span") })).filter(({ output }) => isOwn(output));
    for (const { input, cell } of this.inputs) {
      places.push([model.elements[input.element].name, cell]);
    }
    for (const { output, cell } of this.outputs) places.push([model.elements[output.element].name, cell]);
    const chain = [];
    const { wishFrom, outputTo } = instrument.cascade || {};
    if (wishFrom) chain.push([said("its wish is the output of"), link(wishFrom)]);
    if (outputTo && outputTo.length > 0) {
      const inner = outputTo.flatMap((name, k) => (k > 0 ? [", ", link(name)] : [link(name)]));
      chain.push([said("its output is the wish of"), make("span", {}, ...inner)]);
    }
    if (instrument.receivers && instrument.receivers.length > 0) chain.push([said("receivers"), instrument.receivers.join(", ")]);
    this.settings = (instrument.settings || []).map((setting) => ({ setting, cell: make("span") }));
    this.learnt = (instrument.learnt || []).map((setting) => ({ setting, cell: make("span") }));
    const part = (title, content) => make("section", {}, make("h3", {}, title), content);
    const parts = [];
    if (places.length > 0 && model.isLive) parts.push(part(said("Inputs and outputs"), terms(places)));
    if (chain.length > 0) parts.push(part(said("Chain"), terms(chain)));
    if (instrument.words && instrument.words.length > 0) {
      const words = instrument.words.map((sentence) => make("li", {}, sentence));
      parts.push(part(said("Law and parameters"), make("ul", { class: "words", "aria-label": said("Law and parameters") }, ...words)));
    }
    const facts = (list) => terms(list.map(({ setting, cell }) => [withUnitOf(setting), cell]));
    if (this.settings.length > 0) parts.push(part(said("Settings"), facts(this.settings)));
    if (this.learnt.length > 0) parts.push(part(said("Learnt"), facts(this.learnt)));
    if (instrument.class) parts.push(make("p", { class: "dim" }, said("class") + " " + instrument.class));
    return parts;
  }

  update() {
    const { frame } = this.store;
    const now = frame.instruments[this.index];
    for (const row of this.rows) this.updateRow(row, now[at[row.what]], now[at[row.what + "From"]], now[at[row.what + "To"]], now[at.flags]);
    const mode = modes[now[at.mode]];
    const why = said(mode) + (now[at.why] ? ": " + now[at.why] : "") + (this.store.model.isDry ? " · " + said("dry: nothing is written") : "");
    if (why !== this.shownWhy) {
      this.shownWhy = why;
      this.mode.className = "mode " + mode;
      setText(this.mode, modeLetters[now[at.mode]]);
      setText(this.why, why);
    }
    if (now[at.flags] !== this.shownFlags) {
      this.shownFlags = now[at.flags];
      this.troubles.replaceChildren(...troubles(now, this.instrument).map(([letter, words]) =>
        make("li", {}, make("span", { class: "trouble", "aria-hidden": "true" }, letter), " ", words)));
    }
    for (const { k, item, state } of this.alarmItems) {
      setText(state, said(alarmState(frame.alarms[k])));
      setHidden(item, !frame.alarms[k][ofAlarm.active] && Boolean(frame.alarms[k][ofAlarm.acknowledged]));
    }
    this.updateDetails(frame);
    this.trend.update();
    this.updatePicture();
  }

  updateRow(row, value, from, to, flags) {
    if (from !== row.from || to !== row.to) {
      row.from = from;
      row.to = to;
      row.decimals = decimalsFor(to - from);
      setText(row.range, from === null || to === null ? "" : said("range") + " " + whole(from) + " … " + whole(to) + row.limits);
    }
    row.bar.show(value, from, to);
    row.bar.warn(isBeyond(row.what, flags));
    setText(row.digits, row.what === "output" ? outputText(this.instrument, value, row.decimals) : number(value, row.decimals));
  }

  updateDetails(frame) {
    const { elements } = this.store.model;
    for (const { k, input, cell } of this.inputs) {
      const [quality, age] = frame.inputs[k];
      const connection = this.store.model.connections[input.connection];
      setText(cell, said(qualities[quality]) + ", " + said("{age} old", { age: age === null ? none : span(age) }) + ", " +
        said("by {connection}", { connection }));
    }
    for (const { k, output, cell } of this.outputs) {
      const [code, written, heldBy] = frame.outputs[k];
      const { unit, boolean } = elements[output.element];
      const by = heldBy === null || heldBy === undefined ? "" : " (" + elements[this.store.model.inputs[heldBy].element].name + ")";
      const what = boolean ? onOff(written) : withUnit(rounded(written), unit);
      setText(cell, said(outputs[code]) + by + (written === null ? "" : ", " + said("written") + " " + what));
    }
    const show = (list, numbers) => list.forEach(({ setting, cell }, k) => setText(cell, factText(setting, numbers[k])));
    show(this.settings, frame.settings[this.index] || []);
    show(this.learnt, frame.learnt[this.index] || []);
  }

  async updatePicture() {
    if (!this.picture || performance.now() - this.pictureAt < pictureEvery || this.pictureFrame === this.store.frame.frame) return;
    this.pictureAt = Infinity;  // one at a time
    this.pictureFrame = this.store.frame.frame;
    const { pane, name } = this.instrument;
    const width = Math.round(Math.min((pane.width * remPixels()) / drawnFor, this.element.clientWidth - 2 * remPixels()));
    const height = Math.round((width * pane.height) / pane.width);
    try {
      const path = "/pane/" + encodeURIComponent(name) + ".svg?width=" + width + "&height=" + height;
      const text = await this.connection.text(path, this.stop.signal);
      this.picture.src = "data:image/svg+xml;charset=utf-8," + encodeURIComponent(text);
      this.picture.width = width;
      this.picture.height = height;
      setHidden(this.picture, false);
    } catch {
      // The next frame asks again.
    }
    this.pictureAt = performance.now();
  }
}

function factText({ truth, words, name }, value) {
  if (value === null || value === undefined) return none;
  if (truth) return onOff(value);
  if (words && words[value - 1]) return said(words[value - 1]);
  return name === "changed" ? runTime(value) : rounded(value);
}

const withUnitOf = ({ name, unit }) => name + (unit ? ", " + unit : "");
