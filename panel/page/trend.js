// The trend of an instrument: wish, value and output over time. It follows the run
// until a person goes back or zooms, and then shows that part.

import { button, make, remPixels, setText } from "./dom.js";
import { decimalsFor, number, runTime, wallTime, withUnit } from "./format.js";
import { CSamples, lowerBound } from "./samples.js";
import { at } from "./store.js";
import { said } from "./strings.js";
import { unitOf } from "./tile.js";

const points = 1500;
const settle = 150;  // ms without a further move before the history is asked
const shownAtFirst = 300;  // periods
const leastSpan = 4;  // periods
const dash = [6, 3];
const leastHeight = 0.01;  // of the pane's range
const colors = { wish: "#c77700", value: "#3b82c4", output: "#8a63d2" };

export class CTrend {
  constructor(store, connection, index) {
    const { model } = store;
    this.store = store;
    this.connection = connection;
    this.index = index;
    this.instrument = model.instruments[index];
    this.names = ["wish", "value", "output"];
    this.samples = new CSamples(this.names.map((name) => this.instrument.name + "." + name));
    this.follows = model.isLive;
    this.span = model.isLive ? shownAtFirst * model.period : Math.max(model.period, this.end() - this.begin());
    this.window = this.latest();
    this.cursor = null;  // time, where a person reads out
    this.asked = 0;
    this.timer = 0;
    this.isOwnMove = false;
    this.legend = make("div", { class: "legend", "aria-hidden": "true" });
    this.readOut = make("p", { class: "readout", role: "status" });
    this.canvas = make("div", {
      class: "plot", tabindex: "0", role: "group", "aria-roledescription": said("trend"),
      "aria-label": said("Trend of wish, value and output. Left and right move the cursor, plus and minus zoom, page up and page down scroll."),
      onkeydown: (event) => this.key(event), onwheel: (event) => this.wheel(event),
    });
    this.followButton = button(said("now"), () => this.follow());
    this.failed = make("p", { class: "warning", hidden: true });
    this.element = make("section", { class: "trend", "aria-label": said("Trend") },
      make("div", { class: "tools" },
        button("−", () => this.zoom(2), { "aria-label": said("zoom out") }),
        button("+", () => this.zoom(0.5), { "aria-label": said("zoom in") }),
        button("◀", () => this.scroll(-0.5), { "aria-label": said("earlier") }),
        button("▶", () => this.scroll(0.5), { "aria-label": said("later") }),
        button(said("whole run"), () => this.show(this.begin(), this.end())),
        ...(model.isLive ? [this.followButton] : [])),
      this.legend, this.canvas, this.readOut, this.failed);
    this.endSamples = store.onSample((frame) => this.take(frame));
    this.load();
  }

  begin() {
    return this.store.model.from || 0;
  }

  end() {
    return this.store.frame ? this.store.frame.time : this.store.model.to || this.store.model.duration || 0;
  }

  // Up to now; of a young run from its begin, with half the span free at most.
  latest() {
    const from = Math.max(this.begin(), this.end() - this.span);
    let span = this.span;
    while (span / 2 > this.end() - from && span / 2 > leastSpan * this.store.model.period) span /= 2;
    return [from, from + span];
  }

  close() {
    this.endSamples();
    clearTimeout(this.timer);
    ++this.asked;
    if (this.plot) this.plot.destroy();
    this.plot = null;
  }

  take(frame) {
    const now = frame.instruments[this.index];
    this.samples.add(frame.time, [now[at.wish], now[at.value], now[at.output]]);
  }

  // In an animation frame.
  update() {
    if (!this.follows || !this.plot) return;
    this.window = this.latest();
    if (this.samples.rows.length > 0) this.draw();
    // What was let go for its number is asked for again.
    if (this.samples.from > this.window[0] + this.span / 4 && this.samples.from > this.begin()) this.loadSoon();
  }

  async load() {
    clearTimeout(this.timer);
    this.timer = 0;
    const mine = ++this.asked;
    const margin = this.window[1] - this.window[0];
    const from = Math.max(this.begin(), this.window[0] - margin / 2);
    const isLive = this.store.model.isLive && this.window[1] + margin / 2 >= this.end();
    const to = isLive ? Math.max(this.end(), this.window[1]) : this.window[1] + margin / 2;
    try {
      const query = "items=" + this.samples.items.map(encodeURIComponent).join(",") + "&from=" + from + "&to=" + to + "&points=" + points;
      const answer = await this.connection.get("/history?" + query);
      if (mine !== this.asked) return;
      this.samples.take(from, to, isLive, answer.series);
      this.failed.hidden = true;
      this.draw();
    } catch (error) {
      if (mine !== this.asked) return;
      this.failed.hidden = false;
      setText(this.failed, said("The history did not answer: {why}", { why: error.message }));
      this.samples.take(from, to, isLive, {});
      this.draw();
    }
  }

  loadSoon() {
    if (this.timer) return;
    this.timer = setTimeout(() => this.load(), settle);
  }

  draw() {
    if (!this.canvas.isConnected) return;
    this.isOwnMove = true;
    if (this.plot) this.plot.updateOptions({ file: this.rows(), dateWindow: this.window, axes: { y: { valueRange: this.valueRange() } } });
    else this.plot = this.make();
    this.isOwnMove = false;
    if (this.cursor !== null) this.mark();
    this.followButton.disabled = this.follows;
  }

  // A steady value shows no noise of its last digits: null lets the plot choose.
  valueRange() {
    const now = this.store.frame && this.store.frame.instruments[this.index];
    if (!now || !(now[at.valueTo] > now[at.valueFrom])) return null;
    const least = leastHeight * (now[at.valueTo] - now[at.valueFrom]);
    const { rows } = this.samples;
    let low = Infinity;
    let high = -Infinity;
    for (let k = lowerBound(rows, this.window[0]); k < rows.length && rows[k][0] <= this.window[1]; ++k) {
      for (let i = 1; i <= 2; ++i) {
        const sample = rows[k][i];
        if (sample === null || Number.isNaN(sample[1])) continue;
        if (sample[0] < low) low = sample[0];
        if (sample[2] > high) high = sample[2];
      }
    }
    return high - low < least && high >= low ? [(low + high - least) / 2, (low + high + least) / 2] : null;
  }

  // Dygraphs wants a row.
  rows() {
    return this.samples.rows.length > 0 ? this.samples.rows : [[this.window[0], null, null, null]];
  }

  make() {
    const { instrument } = this;
    const rem = remPixels();
    const curves = this.names.map((name) => ({
      name: withUnit(said(name), unitOf(instrument, name)), color: colors[name], dash: name === "wish" ? dash : null,
    }));
    const labels = ["time"].concat(curves.map((curve) => curve.name));
    const now = this.store.frame && this.store.frame.instruments[this.index];
    const outputRange = instrument.kind === "twoState" ? [-0.1, 1.1] : instrument.kind === "step" ? [-1.2, 1.2]
      : now && now[at.outputTo] > now[at.outputFrom] ? [now[at.outputFrom], now[at.outputTo]] : null;
    const series = {
      [labels[1]]: { color: colors.wish, stepPlot: true, strokeWidth: 0.1 * rem, plotter: (event) => loopboxPlots.dashedSteps(event, dash) },
      [labels[2]]: { color: colors.value, strokeWidth: 0.13 * rem },
      [labels[3]]: { color: colors.output, stepPlot: true, strokeWidth: 0.08 * rem, axis: "y2" },
    };
    const axis = loopboxPlots.timeAxis(Math.max(this.store.model.duration || 0, this.end()), said);
    return new Dygraph(this.canvas, this.rows(), {
      labels, series, customBars: true, connectSeparatedPoints: true, dateWindow: this.window, ...axis,
      plugins: [loopboxPlots.legend(this.legend, curves, Math.max(this.store.model.duration || 0, this.end()), "")],
      axes: {
        ...axis.axes, y: { axisLabelWidth: 3.2 * rem, independentTicks: true },
        y2: { axisLabelWidth: 3.2 * rem, drawGrid: false, independentTicks: true, valueRange: outputRange },
      },
      gridLineColor: "rgba(128,128,128,0.35)", axisLineColor: "rgba(128,128,128,0.8)", animatedZooms: false,
      yRangePad: 8, digitsAfterDecimal: 4, axisLabelFontSize: 0.8 * rem, xLabelHeight: 1.1 * rem, highlightCircleSize: 4,
      interactionModel: { ...Dygraph.defaultInteractionModel, dblclick: () => this.follow() },
      zoomCallback: (from, to) => this.show(from, to),
      drawCallback: (plot, isInitial) => {
        const [from, to] = plot.xAxisRange();
        if (!isInitial && !this.isOwnMove && (from !== this.window[0] || to !== this.window[1])) this.moved(from, to);
      },
      highlightCallback: (event, time) => { this.cursor = time; },
      unhighlightCallback: () => { this.cursor = null; },
    });
  }

  // A part that a person chose.
  moved(from, to) {
    this.follows = false;
    this.window = [from, to];
    this.span = to - from;
    this.followButton.disabled = false;
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.load(), settle);
  }

  show(from, to) {
    const least = leastSpan * this.store.model.period;
    if (to - from < least) [from, to] = [(from + to - least) / 2, (from + to + least) / 2];
    this.moved(from, to);
    this.draw();
  }

  follow() {
    this.follows = this.store.model.isLive;
    if (!this.follows) return this.show(this.begin(), this.end());
    this.window = this.latest();
    this.draw();
    if (!this.samples.covers(Math.max(this.begin(), this.window[0]), this.window[1])) this.load();
    return undefined;
  }

  zoom(factor) {
    const [from, to] = this.window;
    if (this.follows) {
      this.span = Math.max(leastSpan * this.store.model.period, (to - from) * factor);
      this.window = this.latest();
      this.draw();
      this.loadSoon();
      return;
    }
    const middle = this.cursor !== null && this.cursor > from && this.cursor < to ? this.cursor : (from + to) / 2;
    this.show(middle - (middle - from) * factor, middle + (to - middle) * factor);
  }

  scroll(share) {
    const [from, to] = this.window;
    const by = (to - from) * share;
    this.show(from + by, to + by);
  }

  wheel(event) {
    if (!event.ctrlKey && !event.altKey && document.activeElement !== this.canvas) return;
    event.preventDefault();
    this.zoom(event.deltaY > 0 ? 1.25 : 0.8);
  }

  key(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const actions = {
      "+": () => this.zoom(0.5), "=": () => this.zoom(0.5), "-": () => this.zoom(2),
      PageUp: () => this.scroll(-0.5), PageDown: () => this.scroll(0.5),
      ArrowLeft: () => this.step(-1), ArrowRight: () => this.step(1),
      Home: () => this.step(-Infinity), End: () => this.step(Infinity),
    };
    if (!actions[event.key]) return;
    event.preventDefault();
    actions[event.key]();
  }

  // The cursor to a neighbouring sample of what is shown, read out in words.
  step(by) {
    const { rows } = this.samples;
    const first = lowerBound(rows, this.window[0]);
    const last = Math.min(rows.length, lowerBound(rows, this.window[1] + 1e-9)) - 1;
    if (last < first) return;
    const wanted = this.cursor === null ? last : lowerBound(rows, this.cursor) + by;
    const next = Math.min(last, Math.max(first, wanted));
    this.cursor = rows[next][0];
    this.mark();
    setText(this.readOut, this.words(rows[next]));
  }

  mark() {
    const row = lowerBound(this.samples.rows, this.cursor);
    if (row < this.samples.rows.length && this.plot) this.plot.setSelection(row);
  }

  words(row) {
    const { instrument, store } = this;
    const units = this.names.map((name) => unitOf(instrument, name));
    const now = store.frame && store.frame.instruments[this.index];
    const told = this.names.map((name, index) => {
      const sample = row[index + 1];
      if (sample === null || Number.isNaN(sample[1])) return "";
      const decimals = now ? decimalsFor(now[at[name + "To"]] - now[at[name + "From"]]) : 3;
      return said(name) + " " + withUnit(number(sample[1], decimals), units[index]) +
        (sample[0] === sample[2] ? "" : " (" + number(sample[0], decimals) + " … " + number(sample[2], decimals) + ")");
    });
    const wall = store.model.isPlant ? " (" + wallTime(store.model.startWall + row[0]) + ")" : "";
    return runTime(row[0]) + wall + ": " + told.filter((text) => text !== "").join(", ");
  }
}
