// An instrument in the overview.

import { CBar } from "./bar.js";
import { heard, make, seen, setClass, setText } from "./dom.js";
import { decimalsFor, none, number, onOff } from "./format.js";
import { loopRoute } from "./router.js";
import { at, flag, isBeyond, mark, modeLetters, modes, priorities, rank } from "./store.js";
import { said } from "./strings.js";

const toldEvery = 350;  // ms

// The output of an instrument in words or digits, without its unit.
export function outputText(instrument, value, decimals) {
  if (value === null || value === undefined) return none;
  if (instrument.kind === "twoState") return onOff(value);
  if (instrument.kind === "step") return said(value > 0 ? "opens" : value < 0 ? "closes" : "stands");
  return number(value, decimals);
}

// What is told beside the name.
export const titleOf = ({ name, title }) => (title && title !== name ? title : "");

export function unitOf(instrument, what) {
  if (what !== "output") return instrument.unit || "";
  return instrument.kind === "twoState" || instrument.kind === "step" ? "" : instrument.outputUnit || "";
}

// What holds, limits or saturates, as [letter, words]: of a tile the first.
export function troubles(now, instrument) {
  const flags = now[at.flags];
  const found = [];
  if (flags & flag.valueHigh) found.push(["H", said("value above its limit")]);
  if (flags & flag.valueLow) found.push(["L", said("value below its limit")]);
  if (flags & flag.wishHigh) found.push(["W", said("wish above its limit")]);
  if (flags & flag.wishLow) found.push(["W", said("wish below its limit")]);
  if (flags & flag.outputHigh) found.push(["O", said("output above its limit")]);
  if (flags & flag.outputLow) found.push(["O", said("output below its limit")]);
  if (instrument.kind === "continuous" && flags & flag.atHighEnd) found.push(["⤒", said("output at the upper end of its range")]);
  if (instrument.kind === "continuous" && flags & flag.atLowEnd) found.push(["⤓", said("output at the lower end of its range")]);
  if (flags & flag.identifies) found.push(["∿", said("identifies")]);
  return found;
}

export class CTile {
  constructor(store, index) {
    this.store = store;
    this.index = index;
    const instrument = (this.instrument = store.model.instruments[index]);
    this.mode = make("span", { class: "mode" });
    this.modeHeard = heard("");
    this.trouble = seen("", "trouble");
    this.troubleHeard = heard("");
    this.alarm = seen("", "alarm");
    this.alarmHeard = heard("");
    this.moves = seen("", "moves");
    this.movesHeard = heard("");
    this.mode.setAttribute("aria-hidden", "true");
    this.rows = ["value", "wish", "output"].map((what) => {
      const bar = new CBar(instrument.limits && instrument.limits[what], what);
      const digits = make("span", { class: "digits" });
      const unit = unitOf(instrument, what);
      const element = make("span", { class: "row " + what },
        make("span", { class: "label" }, said(what)), bar.element, digits, make("span", { class: "unit" }, unit));
      element.hidden = instrument.kind === "meter" && what !== "value";
      return { what, bar, digits, element, shown: undefined, from: NaN, to: NaN, decimals: 0 };
    });
    this.mode.hidden = this.modeHeard.hidden = !store.model.isLive;  // nothing tells it of what was kept
    this.link = make("a", { class: "tile", href: loopRoute(instrument.name), tabindex: "-1" },
      make("span", { class: "head" },
        make("span", { class: "name" }, instrument.name),
        make("span", { class: "title" }, titleOf(instrument)),
        this.moves, this.movesHeard, this.trouble, this.troubleHeard, this.alarm, this.alarmHeard, this.mode, this.modeHeard),
      ...this.rows.map((row) => row.element));
    this.element = make("li", {}, this.link);
    this.shownMode = this.shownFlags = this.shownAlarm = this.shownRank = -1;
    this.shownWhy = null;
    this.told = -Infinity;
    this.shownMoving = -1;
  }

  // Digits that change faster can't be read, so they change less often than bars.
  update() {
    const now = this.store.frame.instruments[this.index];
    const isTold = this.store.arrived - this.told >= toldEvery;
    if (isTold) this.told = this.store.arrived;
    this.updateRow(this.rows[0], now[at.value], now[at.valueFrom], now[at.valueTo], isTold);
    this.updateRow(this.rows[1], now[at.wish], now[at.wishFrom], now[at.wishTo], isTold);
    this.updateRow(this.rows[2], now[at.output], now[at.outputFrom], now[at.outputTo], isTold);
    const mode = now[at.mode];
    if (mode !== this.shownMode || now[at.why] !== this.shownWhy) {
      this.shownMode = mode;
      this.shownWhy = now[at.why];
      setText(this.mode, modeLetters[mode]);
      this.mode.className = "mode " + modes[mode];
      const words = said(modes[mode]) + (now[at.why] ? ": " + now[at.why] : "");
      setText(this.modeHeard, ", " + words);
      this.link.title = words;
    }
    if (now[at.flags] !== this.shownFlags) {
      this.shownFlags = now[at.flags];
      const found = troubles(now, this.instrument);
      for (const { what, bar } of this.rows) bar.warn(this.instrument.kind === "continuous" && isBeyond(what, now[at.flags]));
      setText(this.trouble, found.length > 0 ? found[0][0] : "");
      setText(this.troubleHeard, found.map(([, words]) => ", " + words).join(""));
    }
    const alarm = this.store.alarmOf[this.index];
    if (alarm !== this.shownAlarm) {
      this.shownAlarm = alarm;
      setText(this.alarm, alarm < 0 ? "" : mark[priorities[alarm]]);
      this.alarm.className = "alarm " + (alarm < 0 ? "" : priorities[alarm]);
      priorities.forEach((priority, k) => setClass(this.link, "is-" + priority, k === alarm));
      setText(this.alarmHeard, alarm < 0 ? "" : ", " + said("alarm") + ": " + said(priorities[alarm]));
    }
    const moving = this.store.isMoving[this.index];
    if (moving !== this.shownMoving) {
      this.shownMoving = moving;
      setText(this.moves, moving ? "↝" : "");
      setText(this.movesHeard, moving ? ", " + said("moves") : "");
    }
    const grade = this.store.ranks[this.index];
    if (grade !== this.shownRank) {
      this.shownRank = grade;
      setClass(this.link, "is-well", grade <= rank.moves);
      setClass(this.link, "is-limit", grade === rank.limit || grade === rank.saturated);
      setClass(this.link, "is-lost", grade === rank.lost);
      setClass(this.link, "is-alarm", grade >= rank.alarm);
    }
  }

  updateRow(row, value, from, to, isTold) {
    if (from !== row.from || to !== row.to) {
      row.from = from;
      row.to = to;
      row.decimals = decimalsFor(to - from);
      row.shown = undefined;
    }
    row.bar.show(value, from, to);
    if (!isTold || value === row.shown) return;
    row.shown = value;
    setText(row.digits, row.what === "output" ? outputText(this.instrument, value, row.decimals) : number(value, row.decimals));
  }
}

