// What always stands above: which run this is, how old what is shown is, how the plant
// is, where to go, and the stop.

import { button, heard, make, seen, setClass, setHidden, setText } from "./dom.js";
import { runTime, span } from "./format.js";
import { mark, priorities } from "./store.js";
import { said } from "./strings.js";
import { switchTheme } from "./theme.js";

const stopped = 5;
const latched = 4;

export class CHead {
  constructor(store, connection, commands) {
    this.store = store;
    this.connection = connection;
    const { model } = store;
    this.phase = make("span", { class: "phase" });
    this.age = make("span", { class: "age" });
    this.links = ["overview", "alarms", "journal", "commands"]
      .filter((view) => model.isLive || view === "overview")
      .filter((view) => view !== "commands" || model.operators.length > 0)
      .map((view) => {
        const title = said(view[0].toUpperCase() + view.slice(1));
        return { view, link: make("a", { href: view === "overview" ? "#/" : "#/" + view }, title) };
      });
    this.summary = make("p", { class: "summary", "aria-label": said("Summary"), hidden: !model.isLive });
    this.steady = make("span");
    this.moving = make("span");
    this.notAuto = make("span");
    this.alarms = priorities.map((priority) => {
      const count = make("span", { class: "count" });
      const badge = make("a", { class: "alarm " + priority, href: "#/alarms" },
        seen(mark[priority] + " "), heard(said("alarms") + ", " + said(priority) + ": "), count);
      return { badge, count };
    });
    this.summary.append(this.steady, this.moving, this.notAuto, ...this.alarms.map(({ badge }) => badge));
    const mayStop = model.isPlant && model.isLive;
    this.stop = button(said("Stop to safe"), () => commands.plant("stop"), { class: "grave", disabled: !model.mayOperate });
    this.release = button(said("Release"), () => commands.plant("release"), { disabled: !model.mayOperate });
    this.unlatch = button(said("Unlatch"), () => commands.plant("unlatch"), { disabled: !model.mayOperate });
    this.element = make("header", {},
      make("div", { class: "line" },
        make("h1", {}, model.title || model.application), this.phase, this.age,
        ...(mayStop ? [make("span", { class: "plant" }, this.unlatch, this.release, this.stop)] : [])),
      make("div", { class: "line" },
        make("nav", { "aria-label": said("Views") }, ...this.links.map(({ link }) => link)), this.summary,
        button("◐", () => switchTheme(), { class: "theme", "aria-label": said("dark or light"), title: said("dark or light") })));
    setInterval(() => this.updateAge(), 500);
  }

  show(view) {
    for (const { view: name, link } of this.links) {
      if (name === view || (name === "overview" && view === "loop")) link.setAttribute("aria-current", "page");
      else link.removeAttribute("aria-current");
    }
  }

  update() {
    const { store } = this;
    const { frame, model } = store;
    setText(this.phase, said(frame.phase) + (model.isDry ? ", " + said("dry") : "") + " · " + runTime(Math.round(frame.time * 10) / 10));
    setClass(this.phase, "is-over", frame.phase !== "running" && frame.phase !== "starting");
    setText(this.steady, said("steady") + " " + store.steady);
    setText(this.moving, said("moving") + " " + store.moving);
    setText(this.notAuto, said("not automatic") + " " + store.notAuto);
    setClass(this.notAuto, "is-some", store.notAuto > 0);
    this.alarms.forEach(({ badge, count }, index) => {
      setText(count, String(store.counts[index]));
      setClass(badge, "is-none", store.counts[index] === 0);
    });
    const isStopped = frame.outputs.some(([code]) => code === stopped);
    setHidden(this.release, !isStopped);
    setHidden(this.stop, isStopped);
    setHidden(this.unlatch, !frame.outputs.some(([code]) => code === latched));
    this.updateAge();
  }

  stateText() {
    const { connection, store } = this;
    const now = performance.now();
    const shown = store.frame ? said("shown is {age} old", { age: span((now - store.arrived) / 1000) }) : said("nothing yet");
    if (connection.state === "live") return "● " + said("live") + ", " + shown;
    if (connection.state === "opening") return said("opening");
    if (connection.state === "refused") return "✖ " + said("The panel does not know this link any more: open the one that it printed last.");
    return "✖ " + said("No connection") + (connection.why ? " (" + connection.why + ")" : "") + ", " +
      said("trying again in {time}", { time: span(Math.max(0, (connection.retry - now) / 1000)) }) + "; " + shown;
  }

  updateAge() {
    const { connection, store } = this;
    if (!store.model.isLive) return setText(this.age, said("a record, not live"));
    const over = store.frame && store.frame.phase !== "running" && store.frame.phase !== "starting";
    const isLost = connection.state !== "live" && !over;
    setText(this.age, over && connection.state !== "live" ? said("the last state") : this.stateText());
    setClass(this.age, "is-lost", isLost);
    setClass(document.body, "is-stale", isLost);
    return undefined;
  }
}
