"use strict";
// Draws the panels of the report from the data in the page, all over one axis
// of time.
(function () {
  const data = JSON.parse(document.getElementById("data").textContent);
  const plots = [];
  let moving = false;

  // JSON has no NaN: there null stands for a gap. A plot takes NaN for a gap,
  // and null for a row of the other run.
  const gap = (value) => (value === null ? NaN : value);

  function rowsOf(curves) {
    const rows = new Map();
    curves.forEach((curve, index) => {
      const times = curve.other ? data.otherTimes : data.times;
      times.forEach((time, at) => {
        let row = rows.get(time);
        if (!row) rows.set(time, (row = [time].concat(new Array(curves.length).fill(null))));
        row[index + 1] = gap(curve.values[at]);
      });
    });
    return [...rows.values()].sort((one, other) => one[0] - other[0]);
  }

  function nearest(rows, time) {
    let low = 0;
    let high = rows.length - 1;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (rows[middle][0] < time) low = middle + 1;
      else high = middle;
    }
    return low > 0 && time - rows[low - 1][0] < rows[low][0] - time ? low - 1 : low;
  }

  function show(from, to, source) {
    if (moving) return;
    moving = true;
    for (const plot of plots) if (plot !== source) plot.updateOptions({ dateWindow: [from, to] });
    moving = false;
  }

  function annotationsOf(panel, rows, series) {
    const taken = new Set();
    return data.marks
      .map((mark, index) => ({ mark, index }))
      .filter(({ mark }) => panel.marked && (mark.instrument === panel.regulator || mark.instrument === ""))
      .map(({ mark, index }) => {
        const x = rows[nearest(rows, mark.time)][0];
        if (taken.has(x)) return null;
        taken.add(x);
        return {
          series, x, shortText: String(index + 1), text: mark.time + " s: " + mark.text, attachAtBottom: true,
          width: 22, height: 16, clickHandler: () => { location.hash = "event-" + (index + 1); },
        };
      })
      .filter((annotation) => annotation !== null);
  }

  function draw(element) {
    const panel = data.panels[Number(element.dataset.panel)];
    const curves = panel.curves;
    const rows = rowsOf(curves);
    if (rows.length === 0) return;
    const labels = ["time"].concat(curves.map((curve) => curve.name));
    const series = {};
    for (const curve of curves) {
      series[curve.name] = { color: curve.color, stepPlot: curve.holds, strokePattern: curve.dash, strokeWidth: curve.dash ? 1.3 : 1.8 };
      if (curve.dash && curve.holds) series[curve.name].plotter = (event) => loopboxPlots.dashedSteps(event, curve.dash);
    }
    const plot = new Dygraph(element, rows, {
      labels, series, connectSeparatedPoints: true, plugins: [loopboxPlots.legend(element.previousElementSibling, curves)],
      xlabel: "time, s", ylabel: panel.unit, includeZero: panel.zero,
      gridLineColor: "rgba(128,128,128,0.35)", axisLineColor: "rgba(128,128,128,0.8)", animatedZooms: false,
      xRangePad: 4, yRangePad: 8, axisLabelFontSize: 12, highlightCircleSize: 3,
      dateWindow: [data.from, data.to],
      zoomCallback: (from, to) => show(from, to, plot),
      drawCallback: (drawn, initial) => {
        if (!initial && !moving) show(...drawn.xAxisRange(), drawn);
      },
    });
    plot.setAnnotations(annotationsOf(panel, rows, labels[1]));
    plots.push(plot);
  }

  document.querySelectorAll(".plot").forEach(draw);

  const window_ = () => plots[0].xAxisRange();
  const actions = {
    "zoom-in": () => { const [a, b] = window_(); show(a + (b - a) / 4, b - (b - a) / 4); },
    "zoom-out": () => {
      const [a, b] = window_();
      show(Math.max(data.from, a - (b - a) / 2), Math.min(data.to, b + (b - a) / 2));
    },
    "earlier": () => { const [a, b] = window_(); const by = Math.min((b - a) / 4, a - data.from); show(a - by, b - by); },
    "later": () => { const [a, b] = window_(); const by = Math.min((b - a) / 4, data.to - b); show(a + by, b + by); },
    "whole": () => show(data.from, data.to),
  };
  for (const [name, action] of Object.entries(actions)) {
    const button = document.getElementById(name);
    if (button) button.addEventListener("click", () => { if (plots.length > 0) action(); });
  }
  window.report = { plots };
})();
