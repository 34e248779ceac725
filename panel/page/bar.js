// A bar of a number on its pane's range: from zero, or from the end of the range that
// is nearest to it. What lies beyond the definition's limits is shaded. Only
// transforms change, and only where they do.

import { make, setClass } from "./dom.js";

const clamp = (share) => Math.min(1, Math.max(0, share));

export class CBar {
  constructor(limits, className) {
    this.limits = limits || [null, null];
    this.fill = make("span", { class: "fill" });
    this.low = make("span", { class: "beyond" });
    this.high = make("span", { class: "beyond" });
    this.element = make("span", { class: "bar " + className, "aria-hidden": "true" }, this.low, this.high, this.fill);
    this.shown = NaN;
    this.from = NaN;
    this.to = NaN;
  }

  share(value) {
    return clamp((value - this.from) / (this.to - this.from));
  }

  warn(isBeyond) {
    setClass(this.element, "is-beyond", isBeyond);
  }

  show(value, from, to) {
    if (from !== this.from || to !== this.to) {
      this.from = from;
      this.to = to;
      this.shown = NaN;
      const [low, high] = this.limits;
      const below = low === null || !(to > from) ? 0 : this.share(low);
      const above = high === null || !(to > from) ? 1 : this.share(high);
      this.low.style.transform = "scaleX(" + below + ")";
      this.high.style.transform = "translateX(" + 100 * above + "%) scaleX(" + (1 - above) + ")";
    }
    if (value === this.shown) return;
    this.shown = value;
    if (value === null || !(to > from)) {
      this.fill.style.transform = "scaleX(0)";
      return;
    }
    const zero = this.share(0);
    const here = this.share(value);
    const begin = Math.min(zero, here);
    this.fill.style.transform =
      "translateX(" + (100 * begin).toFixed(2) + "%) scaleX(" + Math.max(0.004, Math.abs(here - zero)).toFixed(4) + ")";
  }
}
