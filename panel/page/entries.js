// All that an operator may do, whichever instrument it belongs to.

import { heard, make, setText } from "./dom.js";
import { onOff, rounded, withUnit } from "./format.js";
import { said } from "./strings.js";

export class CEntries {
  constructor(store, commands) {
    this.store = store;
    const { model } = store;
    this.cells = [];
    const rows = model.operators.map((operator) => {
      const now = make("td", { class: "now" });
      if (operator.kind === "element") this.cells.push({ operator, now });
      const deeds = make("div", { class: "deeds" }, ...(model.mayOperate ? commands.buttonsOf(operator) : []));
      return make("tr", {}, make("th", { scope: "row" }, operator.name), now, make("td", {}, deeds));
    });
    this.element = make("section", { class: "entries", "aria-label": said("Commands") },
      make("h2", { tabindex: "-1" }, said("Commands")),
      ...(model.mayOperate ? [] : [make("p", { class: "dim" }, said("This link may see, not operate."))]),
      make("div", { class: "scroll" }, make("table", {}, make("caption", { class: "heard" }, said("Commands")),
        make("thead", {}, make("tr", {}, ...[said("thing"), said("now"), heard(said("what to do"))].map((head) => make("th", { scope: "col" }, head)))),
        make("tbody", {}, ...rows))));
  }

  focus() {
    this.element.querySelector("h2").focus({ preventScroll: true });
  }

  update() {
    if (this.element.hidden) return;
    for (const { operator, now } of this.cells) {
      const value = this.store.elementNow(operator.element);
      const { unit } = this.store.model.elements[operator.element];
      setText(now, operator.switch ? onOff(value) : withUnit(rounded(value, 7), unit));
    }
  }
}
