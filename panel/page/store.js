// What the panel knows: the model, the newest frame, and what follows from a few of
// them. Views are told of a frame in the next animation frame, once.

export const modes = ["auto", "manual", "tracks", "held", "safe", "stopped"];
export const modeLetters = ["A", "M", "T", "H", "S", "X"];
export const priorities = ["critical", "high", "medium", "low"];
export const mark = { critical: "◆C", high: "▲H", medium: "■M", low: "●L" };
export const flag = {
  wishLow: 1, wishHigh: 2, valueLow: 4, valueHigh: 8, outputLow: 16, outputHigh: 32, atLowEnd: 64, atHighEnd: 128,
  identifies: 256,
};
// Columns of an instrument in a frame.
export const at = {
  wish: 0, value: 1, output: 2, wishFrom: 3, wishTo: 4, valueFrom: 5, valueTo: 6, outputFrom: 7, outputTo: 8,
  mode: 9, flags: 10, why: 11,
};
// Columns of an alarm in a frame.
export const ofAlarm = { active: 0, acknowledged: 1, shelved: 2, outOfService: 3, since: 4, returned: 5, until: 6, count: 7 };

// Which flags concern a bar.
const beyond = {
  wish: flag.wishLow | flag.wishHigh, value: flag.valueLow | flag.valueHigh,
  output: flag.outputLow | flag.outputHigh | flag.atLowEnd | flag.atHighEnd,
};
export const isBeyond = (what, flags) => (flags & beyond[what]) !== 0;

// A value moves that went through more than this share of its range in a window, of
// which two are kept: so many periods, and not less than so many seconds of the run.
const stirs = 0.01;
const windowPeriods = 20;
const windowSeconds = 10;

export const isAnnounced = (alarm) =>
  !alarm[ofAlarm.shelved] && !alarm[ofAlarm.outOfService] && Boolean(alarm[ofAlarm.active] || !alarm[ofAlarm.acknowledged]);

// How far something is from well: 0 well … the gravest first in a list.
export const rank = { well: 0, moves: 1, notAuto: 2, saturated: 3, limit: 4, lost: 5, alarm: 6 };

export class CStore {
  constructor(model) {
    this.model = model;
    this.frame = null;
    this.arrived = 0;  // ms of the page's clock
    this.listeners = new Set();
    this.sampleListeners = new Set();
    this.isDue = false;
    const count = model.instruments.length;
    this.alarmOf = new Int8Array(count).fill(-1);  // by instrument: its gravest announced alarm's priority, -1: none
    this.ranks = new Uint8Array(count);
    this.isMoving = new Uint8Array(count);
    this.lows = [new Float64Array(count), new Float64Array(count)];  // this window's and the one before
    this.highs = [new Float64Array(count), new Float64Array(count)];
    this.windowBegins = -Infinity;
    this.alarmsByInstrument = this.relate();
    this.counts = new Uint32Array(priorities.length);  // announced, by priority
    this.steady = 0;
    this.moving = 0;
    this.notAuto = 0;
  }

  // Which alarms concern an instrument: those that read one of its elements, and that
  // of a connection which one of its inputs comes by.
  relate() {
    const { instruments, alarms, inputs } = this.model;
    return instruments.map((instrument) => {
      const own = [instrument.wishElement, instrument.valueElement, instrument.outputElement].filter((element) => element !== null);
      const connections = new Set(inputs.filter((input) => own.includes(input.element)).map((input) => input.connection));
      return alarms
        .map((alarm, index) => ({ alarm, index }))
        .filter(({ alarm }) =>
          alarm.elements.some((element) => own.includes(element)) ||
          (alarm.connection !== null && connections.has(alarm.connection)))
        .map(({ index }) => index);
    });
  }

  onFrame(listener) {
    this.listeners.add(listener);
    if (this.frame) listener();
    return () => this.listeners.delete(listener);
  }

  // For who must miss none, as a trend: called at once, and also of a hidden page.
  onSample(listener) {
    this.sampleListeners.add(listener);
    return () => this.sampleListeners.delete(listener);
  }

  take(frame) {
    this.frame = frame;
    this.arrived = performance.now();
    this.judge();
    for (const listener of this.sampleListeners) listener(frame);
    if (this.isDue) return;
    this.isDue = true;
    requestAnimationFrame(() => {
      this.isDue = false;
      for (const listener of this.listeners) listener();
    });
  }

  judge() {
    const { instruments, time, alarms } = this.frame;
    const turn = time - this.windowBegins >= Math.max(windowSeconds, windowPeriods * this.model.period) || time < this.windowBegins;
    if (turn) {
      const isFirst = this.windowBegins === -Infinity;
      this.windowBegins = time;
      [this.lows[0], this.lows[1]] = [this.lows[1], this.lows[0]];
      [this.highs[0], this.highs[1]] = [this.highs[1], this.highs[0]];
      for (let i = 0; i < instruments.length; ++i) {
        const value = instruments[i][at.value] ?? NaN;
        this.lows[0][i] = this.highs[0][i] = value;
        if (isFirst) this.lows[1][i] = this.highs[1][i] = value;
      }
    }
    this.counts.fill(0);
    for (let k = 0; k < alarms.length; ++k) {
      if (isAnnounced(alarms[k])) ++this.counts[priorities.indexOf(this.model.alarms[k].priority)];
    }
    this.steady = this.moving = this.notAuto = 0;
    for (let i = 0; i < instruments.length; ++i) this.judgeOne(i, instruments[i], alarms);
  }

  judgeOne(i, now, alarms) {
    const value = now[at.value] ?? NaN;
    const flags = now[at.flags];
    this.lows[0][i] = Math.min(this.lows[0][i], value);
    this.highs[0][i] = Math.max(this.highs[0][i], value);
    const range = now[at.valueTo] - now[at.valueFrom];
    const moved = Math.max(this.highs[0][i], this.highs[1][i]) - Math.min(this.lows[0][i], this.lows[1][i]);
    this.isMoving[i] = range > 0 && moved > stirs * range ? 1 : 0;
    let gravest = -1;
    for (const k of this.alarmsByInstrument[i]) {
      const priority = priorities.indexOf(this.model.alarms[k].priority);
      if (isAnnounced(alarms[k]) && (gravest < 0 || priority < gravest)) gravest = priority;
    }
    this.alarmOf[i] = gravest;
    const ends = flags & (flag.atLowEnd | flag.atHighEnd);
    this.ranks[i] = gravest >= 0 ? rank.alarm + priorities.length - 1 - gravest
      : now[at.mode] >= 3 ? rank.lost
      : flags & (flag.wishLow | flag.wishHigh | flag.valueLow | flag.valueHigh | flag.outputLow | flag.outputHigh) ? rank.limit
      : ends && this.model.instruments[i].kind === "continuous" ? rank.saturated
      : now[at.mode] !== 0 ? rank.notAuto
      : this.isMoving[i] ? rank.moves : rank.well;
    if (this.isMoving[i]) ++this.moving;
    else ++this.steady;
    if (now[at.mode] !== 0) ++this.notAuto;
  }

  // What an operator's entry reads: its element now.
  elementNow(element) {
    return this.frame && element !== null && element !== undefined ? this.frame.elements[element] : null;
  }
}
