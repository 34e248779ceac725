// A bar of a number on its pane's range: from zero, or from the end of the range that
// is nearest to it. What lies beyond the definition's limits is shaded. It is drawn
// into a canvas, which costs the page neither style nor layout: one of its own, or one
// that many bars share.

import { make, setClass } from "./dom.js";
import { themeTurn } from "./theme.js";

const ownPixels = 400;
const mostPixels = 8e6;  // of a shared canvas
const clamp = (share) => Math.min(1, Math.max(0, share));
const percent = (share) => (100 * share).toFixed(1) + "%";

export class CBar {
  constructor(limits, className) {
    this.limits = limits || [null, null];
    this.element = make("span", { class: "bar " + className, "aria-hidden": "true" });
    this.context = null;
    this.box = null;  // x, y, width and height in the canvas, pixels; null: not to be seen
    this.value = null;
    this.from = NaN;
    this.to = NaN;
    this.forget();
  }

  // A bar that stands alone has a row of pixels, stretched.
  takeOwnCanvas() {
    const canvas = make("canvas", { width: ownPixels, height: 1 });
    this.element.append(canvas);
    this.context = canvas.getContext("2d");
    this.box = [0, 0, ownPixels, 1];
    return this;
  }

  // What was drawn.
  forget() {
    this.begin = this.end = this.turn = -1;
  }

  share(value) {
    return clamp((value - this.from) / (this.to - this.from));
  }

  warn(isBeyond) {
    if (this.element.classList.contains("is-beyond") === isBeyond) return;
    setClass(this.element, "is-beyond", isBeyond);
    this.turn = -1;
    this.draw();
  }

  show(value, from, to) {
    if (from !== this.from || to !== this.to) {
      this.from = from;
      this.to = to;
      const [low, high] = this.limits;
      const below = low === null || !(to > from) ? 0 : this.share(low);
      const above = high === null || !(to > from) ? 0 : 1 - this.share(high);
      this.element.style.backgroundSize = percent(below) + " 100%, " + percent(above) + " 100%";
    }
    this.value = value;
    this.draw();
  }

  draw() {
    if (!this.box) return;
    const [x, y, width, height] = this.box;
    const isRange = this.to > this.from;
    const zero = isRange ? this.share(0) : 0;
    const here = isRange && this.value !== null ? this.share(this.value) : zero;
    const begin = Math.round(width * Math.min(zero, here));
    const end = this.value === null ? begin : Math.max(begin + 1, Math.round(width * Math.max(zero, here)));
    if (begin === this.begin && end === this.end && this.turn === themeTurn()) return;
    if (this.turn !== themeTurn()) {
      this.turn = themeTurn();
      this.color = getComputedStyle(this.element).color;
    }
    this.begin = begin;
    this.end = end;
    this.context.clearRect(x, y, width, height);
    this.context.fillStyle = this.color;
    this.context.fillRect(x + begin, y, end - begin, height);
  }
}

// The canvas above a list, in which bars of its items are drawn.
export class CBarLayer {
  constructor(list, bars) {
    this.list = list;
    this.bars = bars;
    this.canvas = make("canvas", { class: "bars", "aria-hidden": "true" });
    this.context = this.canvas.getContext("2d");
    for (const bar of bars) bar.context = this.context;
  }

  // After each change of the layout.
  measure() {
    const { left, top, width, height } = this.list.getBoundingClientRect();
    const scale = Math.min(devicePixelRatio, Math.sqrt(mostPixels / Math.max(1, width * height)));
    this.canvas.width = Math.round(width * scale);
    this.canvas.height = Math.round(height * scale);
    const pixels = (length) => Math.round(length * scale);
    for (const bar of this.bars) {
      const rect = bar.element.getBoundingClientRect();
      bar.box = rect.width > 2
        ? [pixels(rect.left - left + 1), pixels(rect.top - top + 1), pixels(rect.width - 2), Math.max(1, pixels(rect.height - 2))] : null;
      bar.forget();
    }
    for (const bar of this.bars) bar.draw();
  }
}
