'use strict';
// Draws a study's plots from the data in the page.
(function() {
const element = document.getElementById('data');
const data = JSON.parse(element.textContent);
element.remove();
const said = (word) => data.words[word] || word;  // in the page's language
const colors = ['#d55e00', '#0072b2', '#009e73'];
const gap = (value) => (value === null || value === undefined ? NaN : value);

function curves(id, key, withWish) {
  const shown = data.curves.filter((curve) => curve[key].length > 0);
  const box = document.getElementById(id);
  if (shown.length === 0) return;
  const names = shown.map((curve) => curve.name);
  const rows = shown[0].times.map((time, at) => [time].concat(shown.map((curve) => gap(curve[key][at]))));
  const hasWish = withWish && shown[0].wishes.length > 0;
  if (hasWish) rows.forEach((row, at) => row.push(gap(shown[0].wishes[at])));
  const all = names.map((name, at) => ({name, color: colors[at]}))
                  .concat(hasWish ? [{name: said('wish'), color: '#888888'}] : []);
  const end = shown[0].times[shown[0].times.length - 1];
  new Dygraph(box, rows, {
    labels: ['t'].concat(all.map((curve) => curve.name)),
    colors: all.map((curve) => curve.color),
    plugins: [loopboxPlots.legend(document.getElementById(id + '-legend'), all, end)],
    ...loopboxPlots.timeAxis(end, said),
  });
}

// Names two colours: of the runs that meet what is required, and of the others.
const ofMet = (met) => (data.required && !met ? colors[0] : colors[1]);
function metLegend(id) {
  if (!data.required) return;
  const words = [[true, 'meets what is required'], [false, 'doesn\'t meet it']];
  for (const [met, word] of words) {
    const text = document.createElement('span');
    text.style.color = ofMet(met);
    text.textContent = '● ' + said(word) + '  ';
    document.getElementById(id).append(text);
  }
}

// Each run as a line across axes of the inputs and the figures.
function linesAcross(box) {
  const {axes, lines} = data.across;
  const width = Math.max(box.clientWidth, 130 * axes.length);
  const [top, bottom, side] = [30, 290, 65];
  const draw = (parent, name, attributes, text) => {
    const node = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
    if (text !== undefined) node.textContent = text;
    return parent.appendChild(node);
  };
  const x = (at) => side + (axes.length > 1 ? at * (width - 2 * side) / (axes.length - 1) : 0);
  const y = ({low, high}, value) => bottom - (high > low ? (value - low) / (high - low) : 0.5) * (bottom - top);
  const svg = draw(box, 'svg', {width, height: bottom + 25, role: 'img', 'aria-label': said('What goes with what')});
  for (const met of [true, false]) {
    const group = draw(svg, 'g', {fill: 'none', stroke: ofMet(met), 'stroke-opacity': 0.35});
    for (const line of lines.filter((one) => one.met === met)) {
      const points = line.values.map((value, at) => x(at).toFixed(1) + ',' + y(axes[at], value).toFixed(1));
      draw(group, 'polyline', {points: points.join(' ')});
    }
  }
  // Behind its letters the paper covers the lines.
  const marked = draw(svg, 'g', {
    fill: 'currentColor', 'text-anchor': 'middle', 'font-size': 13, 'paint-order': 'stroke', stroke: 'var(--paper)', 'stroke-width': 3,
  });
  axes.forEach((axis, at) => {
    draw(marked, 'line', {x1: x(at), x2: x(at), y1: top, y2: bottom, stroke: 'currentColor', 'stroke-width': 1});
    draw(marked, 'text', {x: x(at), y: bottom + 20, 'font-weight': 600}, axis.name);
    for (const [value, text] of axis.marks) {
      const high = y(axis, value);
      draw(marked, 'text', {x: x(at) - 5, y: high + (high === bottom ? 0 : high === top ? -5 : 4), 'text-anchor': 'end'}, text);
    }
  });
}

// Bars as wide as they are apart.
function bars({dygraph, points, drawingContext: context, color}) {
  const bottom = dygraph.toDomYCoord(0);
  const width = points.length > 1 ? points[1].canvasx - points[0].canvasx : 20;
  context.fillStyle = color;
  for (const point of points) {
    context.fillRect(point.canvasx - width / 2, point.canvasy, Math.max(1, width - 1), bottom - point.canvasy);
  }
}

curves('values', 'values', true);
curves('outputs', 'outputs', false);
metLegend('lines-legend');
linesAcross(document.getElementById('lines'));
for (const figure of data.figures) {
  const count = figure.bars.length;
  const step = count > 1 ? figure.bars[1][0] - figure.bars[0][0] : 1;
  new Dygraph(document.getElementById('bars-' + figure.number), figure.bars, {
    labels: [figure.name, said('runs')],
    colors: [colors[1]],
    plotter: bars,
    includeZero: true,
    legend: 'never',
    xlabel: figure.name,
    ylabel: said('runs'),
    dateWindow: [figure.bars[0][0] - step, figure.bars[count - 1][0] + step],
  });
  if (!figure.cloud) continue;
  new Dygraph(document.getElementById('cloud-' + figure.number), figure.cloud, {
    labels: [figure.input, said('meets what is required'), said('doesn\'t meet it')],
    colors: [ofMet(true), ofMet(false)],
    strokeWidth: 0,
    drawPoints: true,
    pointSize: 1.5,
    xRangePad: 8,
    yRangePad: 8,
    xlabel: figure.input,
    legend: 'never',
  });
}
})();
