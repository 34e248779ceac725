// The list of alarms, the gravest and newest first, and what a person does with them.

import { button, heard, make, setHidden, setText } from "./dom.js";
import { runTime } from "./format.js";
import { isAnnounced, mark, ofAlarm, priorities } from "./store.js";
import { said } from "./strings.js";

// A state after ISA-18.2 in words.
export function alarmState(alarm) {
  const stands = alarm[ofAlarm.active]
    ? alarm[ofAlarm.acknowledged] ? "active, acknowledged" : "active, not acknowledged"
    : alarm[ofAlarm.acknowledged] ? "normal" : "returned, not acknowledged";
  if (alarm[ofAlarm.outOfService]) return "out of service";
  if (alarm[ofAlarm.shelved]) return "shelved";
  return stands;
}

// A narrow screen shows rows as blocks, which would no longer be a table by themselves.
const cell = (attributes, ...children) => make("td", { role: "cell", ...attributes }, ...children);

export class CAlarms {
  constructor(store, commands, tell) {
    this.store = store;
    this.tell = tell;
    const { model } = store;
    this.rows = model.alarms.map((alarm, index) => this.makeRow(alarm, index, commands));
    this.body = make("tbody", { role: "rowgroup" }, ...this.rows.map((row) => row.element));
    this.all = button(said("Acknowledge all"), () => {
      for (const row of this.rows) if (this.isOpen(row)) commands.connection.post("/acknowledge", { alarm: row.alarm.name }).catch(() => {});
    });
    this.quiet = make("input", { type: "checkbox", onchange: () => this.update() });
    this.nothing = make("p", { class: "dim" }, said("No alarm."));
    const heads = ["priority", "alarm", "state", "since", "times", ""].map((head) =>
      make("th", { scope: "col", role: "columnheader" }, head ? said(head) : heard(said("what to do"))));
    this.table = make("table", { role: "table" },
      make("caption", { class: "heard" }, said("Alarms")),
      make("thead", { role: "rowgroup" }, make("tr", { role: "row" }, ...heads)),
      this.body);
    this.element = make("section", { class: "alarms", "aria-label": said("Alarms") },
      make("h2", { tabindex: "-1" }, said("Alarms")),
      make("div", { class: "tools" }, ...(model.mayOperate ? [this.all] : []),
        make("label", {}, this.quiet, " " + said("also those that are well"))),
      make("div", { class: "scroll" }, this.table), this.nothing);
    this.order = "";
    this.before = null;
  }

  focus() {
    this.element.querySelector("h2").focus({ preventScroll: true });
  }

  makeRow(alarm, index, commands) {
    const state = cell({ class: "alarm-state" });
    const since = cell({ class: "since", "data-head": said("since") });
    const count = cell({ class: "times" });
    const post = (path, body) => () => commands.alarm(path, { alarm: alarm.name, ...body });
    const named = (text, deed) => button(text, deed, { "aria-label": text + ": " + alarm.name });
    const deeds = {
      acknowledge: named(said("Acknowledge"), post("/acknowledge")),
      shelve: named(said("Shelve"), () => commands.shelve(alarm.name)),
      unshelve: named(said("Unshelve"), post("/unshelve")),
      out: named(said("Out of service"), post("/service", { out: true })),
      back: named(said("Into service"), post("/service", { out: false })),
    };
    const element = make("tr", { class: alarm.priority, role: "row" },
      cell({}, make("span", { class: "alarm " + alarm.priority, "aria-hidden": "true" }, mark[alarm.priority]), " " + said(alarm.priority)),
      make("th", { scope: "row", role: "rowheader" }, alarm.name, make("span", { class: "text" }, alarm.text || "")),
      state, since, count,
      cell({}, make("div", { class: "deeds" }, ...(this.store.model.mayOperate ? Object.values(deeds) : []))));
    return { alarm, index, element, state, since, count, deeds };
  }

  isOpen(row) {
    const now = this.store.frame && this.store.frame.alarms[row.index];
    return now && isAnnounced(now) && !now[ofAlarm.acknowledged];
  }

  // What came or returned is told whichever view is shown.
  announce() {
    const { alarms } = this.store.frame;
    const told = [];
    this.rows.forEach(({ alarm, index }) => {
      const now = alarms[index];
      const before = this.before && this.before[index];
      if (before && isAnnounced(now) && now[ofAlarm.count] > before[ofAlarm.count]) {
        told.push(said("Alarm, {priority}: {name}. {text}", { priority: said(alarm.priority), name: alarm.name, text: alarm.text || "" }));
      } else if (before && before[ofAlarm.active] && !now[ofAlarm.active] && !now[ofAlarm.shelved] && !now[ofAlarm.outOfService]) {
        told.push(said("Alarm returned: {name}", { name: alarm.name }));
      }
    });
    this.before = alarms;
    if (told.length > 0) this.tell(told.join(" "));
  }

  update() {
    if (!this.store.frame) return;
    this.announce();
    if (this.element.hidden) return;
    const { alarms, time } = this.store.frame;
    let count = 0;
    for (const row of this.rows) {
      const now = alarms[row.index];
      const isNormal = !now[ofAlarm.active] && now[ofAlarm.acknowledged] && !now[ofAlarm.shelved] && !now[ofAlarm.outOfService];
      setHidden(row.element, Boolean(isNormal && !this.quiet.checked));
      if (row.element.hidden) continue;
      ++count;
      setText(row.state, this.stateText(now, time));
      setText(row.since, now[ofAlarm.count] > 0 ? runTime(now[ofAlarm.since]) : "");
      setText(row.count, String(now[ofAlarm.count]));
      row.element.classList.toggle("is-announced", isAnnounced(now));
      row.element.classList.toggle("is-open", this.isOpen(row));
      setHidden(row.deeds.acknowledge, Boolean(now[ofAlarm.acknowledged]));
      setHidden(row.deeds.shelve, Boolean(now[ofAlarm.shelved] || now[ofAlarm.outOfService]));
      setHidden(row.deeds.unshelve, !now[ofAlarm.shelved]);
      setHidden(row.deeds.out, Boolean(now[ofAlarm.outOfService]));
      setHidden(row.deeds.back, !now[ofAlarm.outOfService]);
    }
    setHidden(this.nothing, count > 0);
    setHidden(this.table, count === 0);
    this.all.disabled = !this.rows.some((row) => this.isOpen(row));
    this.sort(alarms);
  }

  stateText(now, time) {
    const left = runTime(Math.max(0, Math.round(now[ofAlarm.until] - time)));
    return said(alarmState(now)) + (now[ofAlarm.shelved] ? " " + said("for {time} more", { time: left }) : "") +
      (now[ofAlarm.shelved] || now[ofAlarm.outOfService] ? ", " + said(now[ofAlarm.active] ? "active" : "not active") : "");
  }

  sort(alarms) {
    const grade = ({ alarm, index }) => {
      const now = alarms[index];
      return (isAnnounced(now) ? (now[ofAlarm.acknowledged] ? 1 : 0) : 2) * 8 + priorities.indexOf(alarm.priority);
    };
    const ordered = this.rows.slice().sort((one, other) =>
      grade(one) - grade(other) || alarms[other.index][ofAlarm.since] - alarms[one.index][ofAlarm.since] || one.index - other.index);
    const order = ordered.map((row) => row.index).join();
    if (order === this.order) return;
    this.order = order;
    const focused = document.activeElement;
    this.body.append(...ordered.map((row) => row.element));
    if (this.body.contains(focused)) focused.focus({ preventScroll: true });
  }
}
