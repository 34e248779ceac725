"use strict";
// Draws the plots of tuning's report from the data in the page.
(function () {
  const element = document.getElementById("data");
  const data = JSON.parse(element.textContent);
  element.remove();
  const said = (word) => (data.words && data.words[word]) || word;

  const key = (curve) => {
    const text = document.createElement("span");
    text.style.color = curve.color;
    const line = document.createElement("i");
    line.className = "key";
    line.style.borderBottomStyle = curve.dash ? "dashed" : "solid";
    text.append(line, " " + curve.name + "  ");
    return text;
  };

  // 1, 2 and 5 of each decade; frequencies are their logarithms to the base of 10.
  function decades(from, to) {
    const ticks = [];
    for (let decade = Math.floor(from); decade <= to; ++decade) {
      for (const digit of [1, 2, 5]) {
        const v = decade + Math.log10(digit);
        if (v >= from && v <= to) ticks.push({ v, label: String(Number((digit * 10 ** decade).toPrecision(1))) });
      }
    }
    return ticks;
  }

  function draw(plot, index) {
    const where = document.getElementById("plot-" + index);
    const legend = where.previousElementSibling;
    const curves = plot.curves.map((curve, number) => ({ ...curve, label: curve.name || "model " + number }));
    const rows = plot.x.map((x, at) => [x].concat(curves.map((curve) => (curve.y[at] === null ? NaN : curve.y[at]))));
    const series = {};
    for (const curve of curves) {
      series[curve.label] = { color: curve.color, stepPlot: Boolean(curve.holds), strokePattern: curve.dash, strokeWidth: curve.name ? 1.8 : 0.7 };
      if (curve.dash && curve.holds) series[curve.label].plotter = (event) => loopboxPlots.dashedSteps(event, curve.dash);
    }
    const named = curves.filter((curve) => curve.name);
    const options = {
      labels: ["x"].concat(curves.map((curve) => curve.label)), series, ylabel: plot.unit,
      gridLineColor: "rgba(128,128,128,0.35)", axisLineColor: "rgba(128,128,128,0.8)", animatedZooms: false,
      xRangePad: 4, yRangePad: 8, axisLabelFontSize: 12, highlightCircleSize: plot.kind === "time" ? 3 : 0,
    };
    if (plot.kind === "time") {
      const end = plot.x[plot.x.length - 1];
      Object.assign(options, loopboxPlots.timeAxis(end, said));
      options.plugins = [loopboxPlots.legend(legend, named, end, "")];
    } else {
      legend.append(...named.map(key));
      options.xlabel = plot.xLabel;
      if (plot.kind === "frequency") options.axes = { x: { ticker: decades } };
      if (plot.low !== null) options.valueRange = [plot.low, plot.high];
    }
    return new Dygraph(where, rows, options);
  }

  // The plane of the loop's gain; the circle round -1 that it may not enter.
  function drawNyquist(canvas) {
    const plot = data.nyquist;
    canvas.previousElementSibling.append(...plot.curves.filter((curve) => curve.name).map(key));
    const scale = devicePixelRatio || 1;
    const { clientWidth: width, clientHeight: height } = canvas;
    canvas.width = width * scale;
    canvas.height = height * scale;
    const context = canvas.getContext("2d");
    context.scale(scale, scale);
    const unit = height / 3.2;  // pixels
    const x = (re) => width * 0.62 + re * unit;
    const y = (im) => height * 0.42 - im * unit;
    const ink = getComputedStyle(document.body).color;
    const line = (points, color, wide, dash) => {
      context.beginPath();
      points.forEach(([re, im], at) => (at === 0 ? context.moveTo(x(re), y(im)) : context.lineTo(x(re), y(im))));
      context.strokeStyle = color;
      context.lineWidth = wide;
      context.setLineDash(dash || []);
      context.stroke();
    };
    const grid = "rgba(128,128,128,0.5)";
    line([[-100, 0], [100, 0]], grid, 1);
    line([[0, -100], [0, 100]], grid, 1);
    const circle = (re, radius, color, dash) => {
      const points = [];
      for (let i = 0; i <= 90; ++i) points.push([re + radius * Math.cos((i * Math.PI) / 45), radius * Math.sin((i * Math.PI) / 45)]);
      line(points, color, 1.2, dash);
    };
    circle(0, 1, grid, [3, 3]);
    circle(-1, 1 / plot.ms, ink, [6, 4]);
    for (const curve of plot.curves) line(curve.points, curve.color, curve.name ? 1.8 : 0.7, curve.dash);
    context.fillStyle = ink;
    context.font = "12px system-ui, sans-serif";
    context.beginPath();
    context.arc(x(-1), y(0), 3, 0, 2 * Math.PI);
    context.fill();
    context.fillText("-1", x(-1) - 16, y(0) + 14);
    context.fillText("Ms = " + plot.ms, x(-1 - 1 / plot.ms) - 66, y(0) - 6);
  }

  const plots = data.plots.map(draw);
  const canvas = document.getElementById("nyquist");
  if (canvas) {
    drawNyquist(canvas);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
      canvas.previousElementSibling.textContent = "";
      drawNyquist(canvas);
    });
  }
  window.report = { plots };
})();
