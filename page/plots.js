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

  // A plug-in that names the curves in an element, with their values where the
  // pointer is. A curve: name, color, dash.
  function legend(element, curves) {
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
      element.textContent = time === undefined ? "" : "t = " + time + " s  ";
      curves
        .filter((curve) => !by.has(curve.name) || !Number.isNaN(by.get(curve.name).canvasy))
        .forEach((curve, index) => element.append(index > 0 ? "  " : "", entry(curve, by.get(curve.name))));
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

  return { legend, dashedSteps };
})();
