"use strict";
// Draws the report's plots from the data in the page, all over one axis of time:
// each when it comes into view, since there may be hundreds.
(function () {
  const element = document.getElementById("data");
  const data = JSON.parse(element.textContent);
  element.remove();  // the text may be large
  const kept = 24;   // plots that stay drawn, beside those in view
  const margin = 400;  // pixels around the view, which count as in it
  const panels = new Map();  // by element
  const drawn = new Map();   // plots by element, the latest last
  const inView = new Set();  // elements
  const stale = new Set();   // those that show another part of the run than the others
  let part = data.window || [data.from, data.to];  // shown, seconds
  let moving = false;
  const marked = data.panels.filter((panel) => panel.marked);  // the upper one of each regulator

  const said = (word) => (data.words && data.words[word]) || word;  // in the page's language

  // JSON has no NaN: there null stands for a gap. A plot takes NaN for a gap,
  // and null for a row of the other run.
  const gap = (value) => (value === null ? NaN : value);
  // A list's value at a point; a number stands for a list of that number.
  const valueAt = (series, at) => gap(Array.isArray(series) ? series[at] : series);

  function rowsOf(curves) {
    const lists = curves.map((curve) => data.series[curve.series]);
    if (!curves.some((curve) => curve.other)) {
      return data.times.map((time, at) => [time].concat(lists.map((list) => valueAt(list, at))));
    }
    const rows = new Map();
    curves.forEach((curve, index) => {
      const times = curve.other ? data.otherTimes : data.times;
      times.forEach((time, at) => {
        let row = rows.get(time);
        if (!row) rows.set(time, (row = [time].concat(new Array(curves.length).fill(null))));
        row[index + 1] = valueAt(lists[index], at);
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

  function move(plot) {
    moving = true;
    plot.updateOptions({ dateWindow: part });
    moving = false;
  }

  function show(from, to, source) {
    if (moving) return;
    part = [from, to];
    for (const [where, plot] of drawn) {
      if (plot === source) continue;
      if (inView.has(where)) move(plot);
      else stale.add(where);
    }
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

  function draw(where) {
    if (drawn.has(where)) return;
    const panel = panels.get(where);
    const curves = panel.curves;
    const rows = rowsOf(curves);
    if (rows.length === 0) return;
    const labels = ["time"].concat(curves.map((curve) => curve.name));
    const series = {};
    for (const curve of curves) {
      series[curve.name] = { color: curve.color, stepPlot: curve.holds, strokePattern: curve.dash, strokeWidth: curve.dash ? 1.3 : 1.8 };
      if (curve.dash && curve.holds) series[curve.name].plotter = (event) => loopboxPlots.dashedSteps(event, curve.dash);
    }
    const shaded = panel.hand.length > 0 ? said("in hand") : "";
    const plot = new Dygraph(where, rows, {
      labels, series, connectSeparatedPoints: true,
      plugins: [loopboxPlots.legend(where.previousElementSibling, curves, data.to, shaded)],
      ...loopboxPlots.timeAxis(data.to, said), underlayCallback: loopboxPlots.shade(panel.hand),
      ylabel: panel.unit, includeZero: panel.zero,
      gridLineColor: "rgba(128,128,128,0.35)", axisLineColor: "rgba(128,128,128,0.8)", animatedZooms: false,
      xRangePad: 4, yRangePad: 8, axisLabelFontSize: 12, highlightCircleSize: 3,
      dateWindow: part,
      zoomCallback: (from, to) => show(from, to, plot),
      drawCallback: (redrawn, initial) => {
        if (!initial && !moving) show(...redrawn.xAxisRange(), redrawn);
      },
    });
    plot.setAnnotations(annotationsOf(panel, rows, labels[1]));
    drawn.set(where, plot);
    stale.delete(where);
  }

  function forget(where) {
    const plot = drawn.get(where);
    if (plot) plot.destroy();
    drawn.delete(where);
  }

  // A small plot of the overview, or a plot.
  const watcher = new IntersectionObserver((entries) => {
    for (const { target, isIntersecting } of entries) {
      if (!isIntersecting) inView.delete(target);
      else if (target instanceof HTMLCanvasElement) drawSmall(target);
      else if (target === picture) showPicture();
      else enter(target);
    }
    for (const where of [...drawn.keys()].slice(0, Math.max(0, drawn.size - kept))) {
      if (!inView.has(where)) forget(where);
    }
  }, { rootMargin: margin + "px" });

  function enter(where) {
    inView.add(where);
    draw(where);
    if (stale.delete(where)) move(drawn.get(where));
  }

  function place(where, panel) {
    panels.set(where, panel);
    watcher.observe(where);
  }

  // That of the panes takes a browser long where they are many.
  const picture = document.querySelector("img");
  function showPicture() {
    if (picture) picture.src = picture.dataset.src;
  }

  // --- Overview ---

  function drawSmall(canvas) {
    watcher.unobserve(canvas);
    const panel = marked[Number(canvas.dataset.regulator)];
    const { width, height } = canvas;
    const context = canvas.getContext("2d");
    context.clearRect(0, 0, width, height);
    const curves = panel.curves.filter((curve) => !curve.dash);
    const rows = rowsOf(curves);
    let low = Infinity;
    let high = -Infinity;
    for (const row of rows) for (let i = 1; i < row.length; ++i) { low = Math.min(low, row[i]); high = Math.max(high, row[i]); }
    const x = (time) => (time / data.to) * width;
    const y = (value) => height - 2 - (high > low ? (value - low) / (high - low) : 0.5) * (height - 4);
    curves.forEach((curve, index) => {
      context.beginPath();
      let last = NaN;
      for (const row of rows) {
        const now = y(row[index + 1]);
        if (curve.holds && !Number.isNaN(last)) context.lineTo(x(row[0]), last);
        if (!Number.isNaN(now)) context.lineTo(x(row[0]), now);
        last = now;
      }
      context.strokeStyle = curve.color;
      context.lineWidth = 2;
      context.stroke();
    });
  }

  // --- Curves that a person chooses ---

  const chosen = [];  // panels, as the page shows them
  const choice = document.getElementById("quantity");
  const section = document.getElementById("curves");
  for (const quantity of data.quantities) {
    const option = document.createElement("option");
    option.textContent = quantity.name + (quantity.unit ? ", " + quantity.unit : "");
    choice.append(option);
  }

  function add(panel, quantity) {
    if (panel.curves.some((curve) => curve.name === quantity.name)) return;
    panel.unit = panel.curves.length === 0 || panel.unit === quantity.unit ? quantity.unit : "";
    panel.curves.push({
      name: quantity.name, color: data.palette[panel.curves.length % data.palette.length], holds: quantity.holds,
      dash: null, other: false, series: quantity.series,
    });
  }

  function newPlot(quantities) {
    const panel = { unit: "", regulator: "", marked: true, zero: false, hand: [], curves: [] };
    for (const quantity of quantities) add(panel, quantity);
    const legend = document.createElement("div");
    legend.className = "legend";
    const where = document.createElement("div");
    where.className = "plot";
    section.append(legend, where);
    chosen.push(where);
    place(where, panel);
  }

  function clear() {
    for (const where of chosen.splice(0)) {
      watcher.unobserve(where);
      inView.delete(where);
      forget(where);
      panels.delete(where);
      where.previousElementSibling.remove();
      where.remove();
    }
  }

  const selected = () => data.quantities[choice.selectedIndex];
  const actions = {
    "zoom-in": () => { const [a, b] = part; show(a + (b - a) / 4, b - (b - a) / 4); },
    "zoom-out": () => {
      const [a, b] = part;
      show(Math.max(data.from, a - (b - a) / 2), Math.min(data.to, b + (b - a) / 2));
    },
    "earlier": () => { const [a, b] = part; const by = Math.min((b - a) / 4, a - data.from); show(a - by, b - by); },
    "later": () => { const [a, b] = part; const by = Math.min((b - a) / 4, data.to - b); show(a + by, b + by); },
    "whole": () => show(data.from, data.to),
    "new-plot": () => {
      if (!selected()) return;
      newPlot([selected()]);
      enter(chosen[chosen.length - 1]);
    },
    "same-plot": () => {
      const where = chosen[chosen.length - 1];
      if (!where || !selected()) return actions["new-plot"]();
      add(panels.get(where), selected());
      forget(where);
      draw(where);
    },
    "clear-plots": clear,
  };
  for (const [name, action] of Object.entries(actions)) document.getElementById(name).addEventListener("click", action);

  for (const names of data.chosen) newPlot(names.map((name) => data.quantities.find((quantity) => quantity.name === name)));
  document.querySelectorAll(".plot[data-panel]").forEach((where) => place(where, data.panels[Number(where.dataset.panel)]));
  // What is in view is drawn at once. The document's order is that from above.
  const small = document.querySelectorAll(".small");
  const isInView = (where) => where.getBoundingClientRect().top < innerHeight + margin;
  for (const canvas of small) {
    if (!isInView(canvas)) break;
    drawSmall(canvas);
  }
  for (const where of panels.keys()) {
    if (!isInView(where)) break;
    enter(where);
  }
  small.forEach((canvas) => watcher.observe(canvas));
  if (picture) watcher.observe(picture);
  const drawAll = () => {
    small.forEach(drawSmall);
    for (const where of panels.keys()) enter(where);
    showPicture();
  };
  addEventListener("beforeprint", drawAll);
  // When the page had its first plots, milliseconds since it was opened.
  window.report = { get plots() { return [...drawn.values()]; }, firstPlot: performance.now(), showPicture };
})();
