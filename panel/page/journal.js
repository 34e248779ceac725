// Who did what: the last lines of the journal, and on request those before.

import { button, make, setHidden, setText } from "./dom.js";
import { rounded, runTime } from "./format.js";
import { said } from "./strings.js";

const columns = ["line", "time", "run", "who", "what", "thing", "old", "new", "outcome"];
const portion = 100;
const settle = 500;  // ms, between two looks for new lines

// What the run itself says was not asked for, and has no outcome.
const outcome = ({ outcome: became, who, why }) =>
  (became === "refused" ? "✘ " + said("refused") : who === "run" ? "" : "✔ " + said("done")) + (why ? ": " + why : "");

const told = (what) =>
  (Array.isArray(what) ? what.map(told).join(", ") : typeof what === "number" ? rounded(what, 7) : what || "");

export class CJournal {
  constructor(store, connection) {
    this.store = store;
    this.connection = connection;
    this.first = Infinity;  // numbers of lines that are shown
    this.last = -1;
    this.asked = -1;
    this.body = make("tbody");
    this.earlier = button(said("Earlier lines"), () => this.load(this.first));
    this.failed = make("p", { class: "warning", hidden: true });
    this.nothing = make("p", { class: "dim" }, said("Nothing yet."));
    this.element = make("section", { class: "journal", "aria-label": said("Journal") },
      make("h2", { tabindex: "-1" }, said("Journal")), this.failed,
      make("div", { class: "scroll" }, make("table", {}, make("caption", { class: "heard" }, said("Journal, the newest line first")),
        make("thead", {}, make("tr", {}, ...columns.map((head) => make("th", { scope: "col" }, said(head))))),
        this.body)),
      this.nothing, this.earlier);
    setHidden(this.earlier, true);
  }

  focus() {
    this.element.querySelector("h2").focus({ preventScroll: true });
  }

  update() {
    if (this.element.hidden) return;
    const total = this.store.frame ? this.store.frame.journal : 0;
    const now = performance.now();
    if (total === this.asked || now - (this.askedAt || 0) < settle) return;
    this.asked = total;
    this.askedAt = now;
    this.load(undefined);
  }

  async load(before) {
    try {
      const answer = await this.connection.get("/journal?" + (before === undefined ? "" : "before=" + before + "&") + "count=" + portion);
      setHidden(this.failed, true);
      this.take(answer, before !== undefined);
    } catch (error) {
      setText(this.failed, said("The journal did not answer: {why}", { why: error.message }));
      setHidden(this.failed, false);
    }
  }

  take({ lines, first }, isEarlier) {
    const numbered = lines.map((line, k) => ({ line, place: line.line === undefined ? first + k : line.line }));
    const news = numbered.filter(({ place }) => place > this.last || place < this.first).sort((one, other) => other.place - one.place);
    const rows = news.map(({ line, place }) => this.row(line, place));
    if (isEarlier) this.body.append(...rows);
    else this.body.prepend(...rows);
    for (const { place } of news) {
      this.first = Math.min(this.first, place);
      this.last = Math.max(this.last, place);
    }
    setHidden(this.nothing, this.last >= 0);
    setHidden(this.earlier, this.last < 0 || this.first <= 1);
  }

  row(line, place) {
    const refused = line.outcome === "refused";
    const when = String(line.time || "").replace("T", " ").replace(/\.\d+Z$/, "Z");
    return make("tr", refused ? { class: "is-refused" } : {},
      make("th", { scope: "row" }, String(place)), make("td", {}, when), make("td", {}, runTime(line.run_time)),
      ...[line.who, line.what && said(line.what), line.thing, line.old, line.new].map((what) => make("td", {}, told(what))),
      make("td", { class: "outcome" }, outcome(line)));
  }
}
