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
  if (shown.length === 0) return box.remove();
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
    labels: [figure.input, figure.name],
    colors: [colors[0]],
    strokeWidth: 0,
    drawPoints: true,
    pointSize: 1.5,
    xlabel: figure.input,
    ylabel: figure.name,
    legend: 'never',
  });
}
})();
