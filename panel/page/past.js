// A run that is over, from a trace, a record or an archive: what the overview shows is
// the moment that a person chooses.

import { make, setText } from "./dom.js";
import { runTime } from "./format.js";
import { said } from "./strings.js";

const points = 2000;
const atOnce = 5;  // instruments a request

export class CPast {
  constructor(store, connection) {
    this.store = store;
    this.connection = connection;
    const { model } = store;
    this.from = model.from || 0;
    this.to = model.to || model.duration || 0;
    this.time = make("output", { for: "moment" });
    this.slider = make("input", {
      id: "moment", type: "range", min: "0", max: "1000", value: "1000", oninput: () => this.show(),
    });
    this.element = make("section", { class: "past", "aria-label": said("Moment") },
      make("label", { for: "moment" }, said("moment")), this.slider, this.time);
    this.series = {};
  }

  async load() {
    const { instruments } = this.store.model;
    for (let k = 0; k < instruments.length; k += atOnce) {
      const items = instruments.slice(k, k + atOnce).flatMap(({ name }) => [name + ".wish", name + ".value", name + ".output"]);
      const answer = await this.connection.get("/history?items=" + items.map(encodeURIComponent).join(",") +
        "&from=" + this.from + "&to=" + this.to + "&points=" + points);
      Object.assign(this.series, answer.series);
      this.show();
    }
  }

  // What stood at a time: the last sample up to it.
  at(item, time) {
    const series = this.series[item];
    if (!series || series.t.length === 0 || series.t[0] > time) return null;
    let low = 0;
    let high = series.t.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (series.t[middle] <= time) low = middle;
      else high = middle - 1;
    }
    return series.mean[low];
  }

  range(item, limits) {
    const series = this.series[item];
    if (!series || series.t.length === 0) return [0, 1];
    const finite = (values) => values.filter((value) => value !== null);
    const round = (value) => Number(value.toPrecision(4));
    const low = round(Math.min(...finite(series.min), ...(limits && limits[0] !== null ? [limits[0]] : [])));
    const high = round(Math.max(...finite(series.max), ...(limits && limits[1] !== null ? [limits[1]] : [])));
    return low < high ? [low, high] : [low - 1, high + 1];
  }

  show() {
    const { model } = this.store;
    const time = this.from + ((this.to - this.from) * Number(this.slider.value)) / 1000;
    setText(this.time, runTime(Math.round(time * 10) / 10));
    this.slider.setAttribute("aria-valuetext", runTime(Math.round(time * 10) / 10));
    const rows = model.instruments.map(({ name, limits }) => {
      const value = this.at(name + ".value", time);
      const [low, high] = this.range(name + ".value", limits && limits.value);
      const outputRange = this.range(name + ".output", limits && limits.output);
      return [this.at(name + ".wish", time), value, this.at(name + ".output", time), low, high, low, high, ...outputRange, 0, 0, ""];
    });
    this.store.take({
      time, period: Math.round(time / model.period), phase: "ended", journal: 0, frame: 0, instruments: rows,
      elements: model.elements.map(() => null), inputs: model.inputs.map(() => [0, null]),
      outputs: model.outputs.map(() => [0, null, null]), alarms: model.alarms.map(() => [0, 1, 0, 0, 0, 0, 0, 0]),
      settings: model.instruments.map(() => []), learnt: model.instruments.map(() => []),
    });
  }
}
