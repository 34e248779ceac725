"use strict";
// What plots need beside dygraphs, whose legend brings attributes `style`, which
// the page's policy forbids.

// Dygraphs writes labels, titles, numbers and tooltips as markup. Here no text
// becomes any, whoever writes it; without this the policy's trusted types refuse it.
Object.defineProperty(Element.prototype, "innerHTML", {
  set(text) { this.textContent = text; },
});

const loopboxPlots = (function () {
  Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

  const digits = (value) =>
    value !== 0 && (Math.abs(value) >= 1e6 || Math.abs(value) < 1e-4)
      ? value.toExponential(4) : String(Math.round(value * 1e4) / 1e4);

  // Times are seconds. A plot that reaches beyond two hours tells them as h:min, and
  // with their day where one ends and at its first tick.
  const day = 86400;
  const clockFrom = 7200;
  const steps = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, day];
  const places = (step) => Math.max(0, Math.ceil(-Math.log10(step) - 1e-9));
  function roundStep(least) {
    const decade = 10 ** Math.floor(Math.log10(least));
    return [1, 2, 5, 10].map((size) => size * decade).find((step) => step >= least * (1 - 1e-9));
  }
  function clockStep(least) {
    if (least > day) return day * roundStep(least / day);
    return least < 1 ? roundStep(least) : steps.find((step) => step >= least);
  }
  // "3:20", "3:20:05"; with its day "2 d 06:30", "2 d".
  function clock(time, step, withDay) {
    const days = Math.floor(time / day);
    const rest = time - days * day;
    const minutes = Math.floor(rest / 60);
    if (withDay && rest === 0) return days + " d";
    const hours = String(Math.floor(minutes / 60)).padStart(withDay ? 2 : 1, "0");
    const seconds = (rest - minutes * 60).toFixed(places(step)).padStart(places(step) > 0 ? places(step) + 3 : 2, "0");
    return (withDay ? days + " d " : "") + hours + ":" + String(minutes % 60).padStart(2, "0") +
      (step % 60 === 0 ? "" : ":" + seconds);
  }
  function clockTicks(from, to, pixels) {
    const step = clockStep((to - from) / Math.max(2, pixels / 90));
    const scale = 10 ** places(step);
    const ticks = [];
    let before = 0;
    for (let k = Math.ceil(from / step - 1e-9); k * step <= to + step * 1e-9; ++k) {
      const v = Math.round(k * step * scale) / scale;
      const now = Math.floor(v / day);
      ticks.push({ v, label: clock(v, step, now !== before || step >= day) });
      before = now;
    }
    return ticks;
  }
  const isLong = (end) => end > clockFrom;
  // A plot's options for the axis of time of a run that ends then; `said` yields a word
  // in the page's language.
  const timeAxis = (end, said) =>
    isLong(end)
      ? { xlabel: said("time, h:min"), axes: { x: { ticker: clockTicks, axisLabelWidth: 70 } } }
      : { xlabel: said("time, s") };
  const timeText = (time, end) =>
    "t = " + time + " s" + (isLong(end) ? " (" + clock(time, 1, time >= day) + ")" : "");

  // Draws stretches of time, [from, to], behind the curves: a plot's underlayCallback.
  const shadeColor = "rgba(230,159,0,0.2)";
  const shade = (stretches) => (context, area, plot) => {
    context.fillStyle = shadeColor;
    for (const [from, to] of stretches) {
      const left = Math.max(area.x, plot.toDomXCoord(from));
      const right = Math.min(area.x + area.w, plot.toDomXCoord(to));
      if (right > left) context.fillRect(left, area.y, right - left, area.h);
    }
  };

  // A plug-in that names the curves in an element, with their values where the
  // pointer is, in a run that ends then. A curve: name, color, dash; `shaded` names
  // what is shaded, if anything is.
  function legend(element, curves, end, shaded) {
    function entry(curve, point) {
      const text = document.createElement("span");
      text.style.color = curve.color;
      const key = document.createElement("i");
      key.className = "key";
      key.style.borderBottomStyle = !curve.dash ? "solid" : curve.dash[0] > 3 ? "dashed" : "dotted";
      text.append(key, " " + curve.name + (point ? " = " + digits(point.yval) : ""));
      return text;
    }
    function show(time, points) {
      const by = new Map(points.map((point) => [point.name, point]));
      element.textContent = time === undefined ? "" : timeText(time, end) + "  ";
      curves
        .filter((curve) => !by.has(curve.name) || !Number.isNaN(by.get(curve.name).canvasy))
        .forEach((curve, index) => element.append(index > 0 ? "  " : "", entry(curve, by.get(curve.name))));
      if (!shaded) return;
      const key = document.createElement("i");
      key.className = "shade";
      key.style.background = shadeColor;
      element.append("  ", key, " " + shaded);
    }
    const clear = () => show(undefined, []);
    return {
      activate: () => ({
        select: ({ selectedX, selectedPoints }) => show(selectedX, selectedPoints),
        deselect: clear,
        didDrawChart: clear,
      }),
    };
  }

  // Dygraphs begins a step curve anew at each point, which leaves a dash no
  // room: draws it in one stroke.
  function dashedSteps({ points, drawingContext: context, color, strokeWidth }, dash) {
    let last = null;
    context.save();
    context.strokeStyle = color;
    context.lineWidth = strokeWidth;
    context.setLineDash(dash);
    context.beginPath();
    for (const point of points) {
      if (point.yval === null) continue;
      if (Number.isNaN(point.canvasy)) {
        last = null;
        continue;
      }
      if (last) context.lineTo(point.canvasx, last.canvasy);
      else context.moveTo(point.canvasx, point.canvasy);
      context.lineTo(point.canvasx, point.canvasy);
      last = point;
    }
    context.stroke();
    context.restore();
  }

  return { legend, dashedSteps, timeAxis, shade };
})();
