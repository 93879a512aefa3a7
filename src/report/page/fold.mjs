// Buckets to columns of pixels. Least and greatest stay exact: each bucket goes whole into the column it begins in, or,
// where a column is narrower than a bucket, into all the columns it touches.

/** The figures of every column of a view, of one SFP and one quantity. */
export class Columns {
  constructor(count, secondsPerColumn) {
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
    this.records = numbers(0);
    this.syncs = numbers(0);
    this.syncsDue = numbers(0);
    this.resps = numbers(0);
    this.respsDue = numbers(0);
    this.extra = numbers(NaN);
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

/** The levels for columns of so many seconds: the coarsest that is fine enough, and the coarser ones for its holes. */
function levelsFor(store, per, column) {
  const whole = store.levelWith(column);
  if (!whole) return [];
  if (!store.whole.columns.includes(column)) return [whole];
  const usable = store.levels.filter(level => level.columns.includes(column));
  const fits = usable.findIndex(level => level.width <= per * 1.001);
  const last = fits < 0 ? usable.length - 1 : fits;
  const first = Math.min(last, usable.indexOf(whole));
  return usable.slice(Math.min(first, last), last + 1).reverse();
}

/** Tells of buckets in rising order whether they lie wholly in one of the intervals. */
function coverTest(intervals) {
  let at = 0;
  return (from, to) => {
    while (at < intervals.length && intervals[at][1] <= from) at++;
    return at < intervals.length && intervals[at][0] <= from && intervals[at][1] >= to;
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

function addMessages(columns, c, share, planes, i) {
  columns.records[c] += planes.records[i] * share;
  columns.syncs[c] += planes.syncs[i] * share;
  columns.syncsDue[c] += planes.syncsDue[i] * share;
  columns.resps[c] += planes.resps[i] * share;
  columns.respsDue[c] += planes.respsDue[i] * share;
}

function addQuantity(columns, c, figures, i, weight, locked) {
  const low = figures.low[i];
  const high = figures.high[i];
  if (low < columns.low[c]) columns.low[c] = low;
  if (high > columns.high[c]) columns.high[c] = high;
  if (locked) {
    if (low < columns.lockedLow[c]) columns.lockedLow[c] = low;
    if (high > columns.lockedHigh[c]) columns.lockedHigh[c] = high;
  }
  if (columns.weight[c] === 0) columns.shift[c] = figures.average[i];
  const distance = figures.average[i] - columns.shift[c];
  const deviation = figures.deviation ? figures.deviation[i] : 0;
  columns.weight[c] += weight;
  columns.sum[c] += weight * distance;
  columns.squares[c] += weight * (deviation * deviation + distance * distance);
}

/** What a bucket of a segment gives to the columns; the difference A − B (sfp 2) is locked where both are. */
function reader(segment, sfp, quantity) {
  const { planes } = segment.chunk;
  const own = planes[sfp];
  const figures = own[quantity];
  const isLocked = (p, i) => p.records[i] > 0 && p.locked[i] >= p.records[i];
  if (sfp === 2) {
    return {
      figures, weight: own.abSeconds, has: i => own.abSeconds[i] > 0,
      locked: i => isLocked(planes[0], i) && isLocked(planes[1], i),
    };
  }
  const afterResps = ['path', 'toMaster', 'respDelay'].includes(quantity);
  return {
    figures, weight: afterResps ? own.resps : own.syncs, messages: own, has: i => own.records[i] > 0,
    locked: i => isLocked(own, i),
  };
}

/**
 * Folds one quantity ('off', 'path', 'ab' …) of an SFP (0 A, 1 B, 2 the difference) into `count` columns from a to b.
 * With `field`, the greatest value of that plain column, or its sum, stands in `extra`.
 */
export function fold(store, sfp, quantity, a, b, count, { field = null, add = false } = {}) {
  const per = (b - a) / count;
  const columns = new Columns(count, per);
  let covered = [];
  for (const level of levelsFor(store, per, field || (quantity === 'ab' ? 'syncs' : quantity + 'Avg10'))) {
    const { width } = level;
    const isCovered = coverTest(covered);
    const intervals = [];
    for (const segment of store.segments(level, a, b)) {
      const read = reader(segment, sfp, quantity);
      const start = store.base + segment.first * width;
      intervals.push([start, start + segment.count * width]);
      const begin = Math.max(0, Math.floor((a - start) / width));
      const end = Math.min(segment.count, Math.ceil((b - start) / width));
      for (let n = begin; n < end; n++) {
        const i = segment.at + n;
        const t = start + n * width;
        const behind = Math.min(t + width, store.end);
        if (!read.has(i) || isCovered(t, behind)) continue;
        const x = (t - a) / per;
        const span = (behind - t) / per;
        const narrow = width / per <= 1.001;
        const c0 = Math.min(count - 1, Math.max(0, Math.floor(x + 1e-9)));
        const c1 = narrow ? c0 + 1 : Math.min(count, Math.max(c0 + 1, Math.ceil(x + span - 1e-9)));
        const locked = read.locked(i);
        for (let c = c0; c < c1; c++) {
          const share = narrow ? 1 : Math.max(1e-6, (Math.min(x + span, c + 1) - Math.max(x, c)) / span);
          if (!columns.step[c] || width < columns.step[c]) columns.step[c] = width;
          if (!locked) columns.unlocked[c] = 1;
          if (read.messages) addMessages(columns, c, share, read.messages, i);
          if (field) {
            const value = read.messages[field][i];
            const before = Number.isNaN(columns.extra[c]) ? 0 : columns.extra[c];
            columns.extra[c] = add ? before + value * share : Math.max(before, value);
          } else if (read.weight[i] > 0) {
            addQuantity(columns, c, read.figures, i, read.weight[i] * share, locked);
          }
        }
      }
    }
    covered = mergeIntervals(covered.concat(intervals));
  }
  return columns;
}
