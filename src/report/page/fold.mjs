// Buckets to columns of pixels. Least and greatest stay exact: each bucket goes whole into the column it begins in, or,
// where a column is narrower than a bucket, into all the columns it touches.

import { WEIGHTS } from './decode.mjs';

/** Folded in place of a quantity: what the card has counted besides Sync and Delay_Resp. */
export const COUNTERS = 'counters';

const COUNTS = {
  off: ['records', 'syncs', 'syncsDue', 'resps', 'respsDue'],
  [COUNTERS]: ['followUps', 'followUpsDue', 'announces', 'announcesDue', 'discarded', 'errors', 'dropped'],
};
const countsOf = quantity => COUNTS[quantity] || [];

/** The figures of every column of a view, of one SFP and one quantity; `counts` names what is counted besides. */
export class Columns {
  constructor(count, secondsPerColumn, counts) {
    const numbers = value => new Float64Array(count).fill(value);
    this.count = count;
    this.per = secondsPerColumn;
    this.low = numbers(Infinity);
    this.high = numbers(-Infinity);
    this.lockedLow = numbers(Infinity);
    this.lockedHigh = numbers(-Infinity);
    this.unlocked = new Uint8Array(count);
    this.weight = numbers(0);
    this.sum = numbers(0);
    this.squares = numbers(0);
    this.shift = numbers(0);
    /** Do the figures come from the wide buckets of what is shown on demand? */
    this.isSide = false;
    this.counts = counts;
    for (const name of counts) this[name] = numbers(0);
    /** Width of the buckets that were used, 0 where there is no record. */
    this.step = numbers(0);
  }

  measured(c) {
    return this.weight[c] > 0;
  }

  average(c) {
    return this.weight[c] > 0 ? this.shift[c] + this.sum[c] / this.weight[c] : NaN;
  }

  deviation(c) {
    if (!(this.weight[c] > 0)) return NaN;
    const mean = this.sum[c] / this.weight[c];
    return Math.sqrt(Math.max(0, this.squares[c] / this.weight[c] - mean * mean));
  }

  /** Least and greatest of all columns, [Infinity, -Infinity] without any. */
  range(low = this.low, high = this.high) {
    let least = Infinity;
    let greatest = -Infinity;
    for (let c = 0; c < this.count; c++) {
      if (low[c] < least) least = low[c];
      if (high[c] > greatest) greatest = high[c];
    }
    return [least, greatest];
  }
}

/** Less of a column's width than this is arithmetic's error. */
const EDGE = 1e-6;
const IN_USUAL_LEVELS = ['off', 'path', 'ab'];

/** The levels for columns of so many seconds: the coarsest that is fine enough, and the coarser ones for its holes. */
function levelsFor(store, per, quantity) {
  if (!IN_USUAL_LEVELS.includes(quantity)) return store.side ? [store.side] : [];
  const { levels } = store;
  const fits = levels.findIndex(level => level.width <= per * 1.001);
  const last = fits < 0 ? levels.length - 1 : fits;
  const first = Math.min(last, levels.indexOf(store.whole));
  return levels.slice(first, last + 1).reverse();
}

/** Tells of buckets in rising order whether they lie wholly in one of the intervals. */
function coverTest(intervals) {
  let at = 0;
  return (from, to) => {
    while (at < intervals.length && intervals[at][1] <= from) at++;
    return at < intervals.length && intervals[at][0] <= from && intervals[at][1] >= to;
  };
}

/** Tells of rising stretches how many seconds of them lie in none of the intervals. */
function uncoveredIn(intervals) {
  let at = 0;
  return (from, to) => {
    while (at < intervals.length && intervals[at][1] <= from) at++;
    let left = to - from;
    for (let i = at; i < intervals.length && intervals[i][0] < to; i++) {
      left -= Math.min(to, intervals[i][1]) - Math.max(from, intervals[i][0]);
    }
    return left;
  };
}

function mergeIntervals(intervals) {
  const merged = [];
  for (const [from, to] of intervals.sort((x, y) => x[0] - y[0])) {
    const last = merged[merged.length - 1];
    if (last && from <= last[1]) last[1] = Math.max(last[1], to);
    else merged.push([from, to]);
  }
  return merged;
}

/** What the buckets of a segment give to the columns; the difference A − B (sfp 2) is locked where both are. */
class Source {
  constructor(planes, sfp, quantity) {
    const own = planes[sfp];
    const isDifference = sfp === 2;
    const figures = own[quantity] || {};
    this.low = figures.low;
    this.high = figures.high;
    this.average = figures.average;
    this.deviation = figures.deviation || null;
    this.weight = own[WEIGHTS[quantity]] || null;
    this.present = isDifference ? own.abSeconds : own.records;
    this.first = isDifference ? planes[0] : own;
    this.second = isDifference ? planes[1] : own;
    /** Links carry as much whether the SFP is locked or not. */
    this.isRate = quantity === 'rx' || quantity === 'tx';
    this.counts = countsOf(quantity).map(name => ({ name, values: own[name] }));
  }

  isLocked(i) {
    if (this.isRate) return true;
    const { first, second } = this;
    return first.records[i] > 0 && first.locked[i] >= first.records[i]
      && second.records[i] > 0 && second.locked[i] >= second.records[i];
  }

  /** Adds bucket i, or a share of it, to column c. */
  add(columns, c, share, i, locked) {
    if (!locked) columns.unlocked[c] = 1;
    for (const { name, values } of this.counts) columns[name][c] += values[i] * share;
    if (this.weight?.[i] > 0) this.addQuantity(columns, c, share, i, locked);
  }

  addQuantity(columns, c, share, i, locked) {
    const low = this.low[i];
    const high = this.high[i];
    if (low < columns.low[c]) columns.low[c] = low;
    if (high > columns.high[c]) columns.high[c] = high;
    if (locked) {
      if (low < columns.lockedLow[c]) columns.lockedLow[c] = low;
      if (high > columns.lockedHigh[c]) columns.lockedHigh[c] = high;
    }
    const weight = this.weight[i] * share;
    if (columns.weight[c] === 0) columns.shift[c] = this.average[i];
    const distance = this.average[i] - columns.shift[c];
    columns.weight[c] += weight;
    columns.sum[c] += weight * distance;
    if (this.deviation) columns.squares[c] += weight * (this.deviation[i] * this.deviation[i] + distance * distance);
  }
}

/**
 * Folds one quantity ('off', 'path', 'ab' …) of an SFP (0 A, 1 B, 2 the difference) into `count` columns from a to b;
 * with the offset go the messages counted, and as COUNTERS alone what else is counted.
 */
export function fold(store, sfp, quantity, a, b, count) {
  const per = (b - a) / count;
  const columns = new Columns(count, per, countsOf(quantity));
  columns.isSide = !IN_USUAL_LEVELS.includes(quantity);
  let covered = [];
  for (const level of levelsFor(store, per, quantity)) {
    const { width } = level;
    const isCovered = coverTest(covered);
    const uncovered = uncoveredIn(covered);
    const narrow = width / per <= 1.001;
    const intervals = [];
    for (const segment of store.segments(level, a, b)) {
      const source = new Source(segment.chunk.planes, sfp, quantity);
      const start = store.base + segment.first * width;
      intervals.push([start, start + segment.count * width]);
      const begin = Math.max(0, Math.floor((a - start) / width));
      const end = Math.min(segment.count, Math.ceil((b - start) / width));
      for (let n = begin; n < end; n++) {
        const i = segment.at + n;
        const t = start + n * width;
        const behind = Math.min(t + width, store.end);
        if (!(source.present[i] > 0) || isCovered(t, behind)) continue;
        const x = (t - a) / per;
        const span = (behind - t) / per;
        const c0 = Math.min(count - 1, Math.max(0, Math.floor(x + 1e-9)));
        const c1 = narrow ? c0 + 1 : Math.min(count, Math.max(c0 + 1, Math.ceil(x + span - 1e-9)));
        const locked = source.isLocked(i);
        for (let c = c0; c < c1; c++) {
          // Of a bucket that finer ones cover in part, only the other part.
          const left = narrow ? per : uncovered(Math.max(t, a + c * per), Math.min(behind, a + (c + 1) * per));
          if (left <= EDGE * per) continue;
          const share = narrow ? 1 : left / (behind - t);
          if (!columns.step[c] || width < columns.step[c]) columns.step[c] = width;
          source.add(columns, c, share, i, locked);
        }
      }
    }
    covered = mergeIntervals(covered.concat(intervals));
  }
  return columns;
}
