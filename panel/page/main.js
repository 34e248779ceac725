// Puts the page together.

import { CAlarms } from "./alarms.js";
import { CAnswers, CCommands } from "./commands.js";
import { CConnection } from "./connection.js";
import { make, setHidden } from "./dom.js";
import { CEntries } from "./entries.js";
import { CFaceplate } from "./faceplate.js";
import { CHead } from "./head.js";
import { CJournal } from "./journal.js";
import { COverview } from "./overview.js";
import { CPast } from "./past.js";
import { route } from "./router.js";
import { CStore } from "./store.js";
import { said, speak } from "./strings.js";
import { applyTheme } from "./theme.js";
import { takeToken } from "./token.js";

const retry = 2000;  // ms

class CPage {
  constructor(model, connection) {
    this.connection = connection;
    this.store = new CStore(model);
    this.answers = new CAnswers();
    this.commands = new CCommands(this.store, connection, this.answers);
    this.aloud = make("p", { class: "heard", role: "status", "aria-live": "polite" });
    this.head = new CHead(this.store, connection, this.commands);
    this.views = { overview: new COverview(this.store) };
    if (model.isLive) {
      this.views.alarms = new CAlarms(this.store, this.commands, (text) => { this.aloud.textContent = text; });
      this.views.journal = new CJournal(this.store, connection);
      if (model.operators.length > 0) this.views.commands = new CEntries(this.store, this.commands);
    }
    this.faceplate = null;
    this.main = make("main", {}, ...Object.values(this.views).map((view) => view.element));
    document.body.replaceChildren(
      make("a", { class: "skip", href: "#", onclick: (event) => { event.preventDefault(); this.focusView(); } }, said("To the content")),
      this.head.element, this.main, this.aloud, this.commands.dialog);
    document.title = model.title || model.application;
    addEventListener("hashchange", () => this.show());
    addEventListener("keydown", (event) => {
      if (event.key === "Escape" && !this.commands.dialog.open && this.faceplate) this.closeFaceplate();
    });
    this.show();
    this.store.onFrame(() => this.update());
  }

  update() {
    this.head.update();
    for (const view of Object.values(this.views)) view.update();
    if (this.faceplate) this.faceplate.update();
  }

  show() {
    const { view, name } = route();
    const shown = view === "loop" ? "overview" : this.views[view] ? view : "overview";
    for (const [key, one] of Object.entries(this.views)) setHidden(one.element, key !== shown);
    const index = view === "loop" ? this.store.model.instruments.findIndex((instrument) => instrument.name === name) : -1;
    const before = this.faceplate;
    if (before) before.close();
    this.faceplate = null;
    document.body.classList.toggle("has-faceplate", index >= 0);
    this.head.show(index >= 0 ? "loop" : shown);
    if (index >= 0) {
      this.faceplate = new CFaceplate(this.store, this.connection, this.commands, index, () => this.closeFaceplate());
      this.main.append(this.faceplate.element);
      this.faceplate.focus();
    } else if (before && shown === "overview") {
      this.views.overview.focusOn(before.instrument.name);
    } else if (shown !== "overview") {
      this.views[shown].focus();
    }
    if (this.store.frame) this.update();
  }

  // Connected, or no more.
  connected() {
    this.head.updateAge();
    // What the stream brought meanwhile stands in the history alone.
    if (this.connection.state === "live" && this.faceplate) this.faceplate.trend.load();
  }

  closeFaceplate() {
    location.hash = "#/";
  }

  focusView() {
    const { view } = route();
    if (this.faceplate) this.faceplate.focus();
    else (this.views[view] || this.views.overview).focus();
  }
}

function tell(text) {
  document.body.replaceChildren(make("p", { class: "message", role: "alert" }, text));
}

async function begin() {
  applyTheme();
  speak(navigator.language);
  const token = takeToken();
  if (!token) return tell(said("Open the link that the program printed: it brings the token with it."));
  const connection = new CConnection(token);
  for (;;) {
    try {
      const model = await connection.get("/model");
      speak(model.language);
      const page = new CPage(model, connection);
      window.panel = page;  // for who looks on from a browser's console
      if (!model.isLive) {
        const past = new CPast(page.store, connection);
        page.main.prepend(past.element);
        return past.load();
      }
      return connection.listen((name, data) => {
        if (name === "frame") page.store.take(data);
        else if (name === "answer") page.answers.take(data);
      }, () => page.connected());
    } catch (error) {
      if (error.status === 401) return tell(said("The panel does not know this link any more: open the one that it printed last."));
      tell(said("The panel did not answer: {why}. Trying again.", { why: error.message }));
      await new Promise((done) => setTimeout(done, retry));
    }
  }
}

begin();
