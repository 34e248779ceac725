// The samples of a trend: rows of [time, [minimum, mean, maximum] of each item], of
// which those from the history and those from the stream join without a seam: each
// time stands there once, in rising order.

const mostRows = 6000;
const mostTail = 3000;

// Index of the first row at or after a time.
export function lowerBound(rows, time) {
  let low = 0;
  let high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle][0] < time) low = middle + 1;
    else high = middle;
  }
  return low;
}

// JSON has no NaN: there null stands for it, here it makes a gap; null is what an item
// has at the time of another.
const gap = (value) => (value === null ? NaN : value);

function rowsOf(series, items) {
  const rows = new Map();
  items.forEach((item, index) => {
    const one = series[item];
    if (!one) return;
    one.t.forEach((time, k) => {
      let row = rows.get(time);
      if (!row) rows.set(time, (row = [time].concat(new Array(items.length).fill(null))));
      row[index + 1] = [gap(one.min[k]), gap(one.mean[k]), gap(one.max[k])];
    });
  });
  return [...rows.values()].sort((one, other) => one[0] - other[0]);
}

export class CSamples {
  constructor(items) {
    this.items = items;
    this.rows = [];
    this.tail = [];  // of the stream, those that the history may not have had yet
    this.from = Infinity;  // what the rows cover; to Infinity where the stream goes on
    this.to = -Infinity;
  }

  // What the stream brought.
  add(time, values) {
    if (this.tail.length > 0 && time <= this.tail[this.tail.length - 1][0]) return;
    const row = [time].concat(values.map((value) => [gap(value), gap(value), gap(value)]));
    this.tail.push(row);
    if (this.tail.length > mostTail) this.tail.splice(0, mostTail / 2);
    if (this.to !== Infinity) return;
    const last = this.rows[this.rows.length - 1];
    if (!last || time > last[0]) this.rows.push(row);
    if (this.rows.length > mostRows) {
      this.rows.splice(0, mostRows / 2);
      this.from = this.rows[0][0];
    }
  }

  // What the history answered for a window; `isLive` where that reaches to now.
  take(from, to, isLive, series) {
    const rows = rowsOf(series, this.items);
    if (isLive) {
      const last = rows.length > 0 ? rows[rows.length - 1][0] : -Infinity;
      for (const row of this.tail) if (row[0] > last && row[0] >= from) rows.push(row);
    }
    this.rows = rows;
    this.from = from;
    this.to = isLive ? Infinity : to;
  }

  covers(from, to) {
    return this.from <= from && to <= this.to;
  }
}
