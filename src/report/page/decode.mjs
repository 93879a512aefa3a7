// The recording's figures: levels of buckets, coarse to fine, in chunks that are decoded when they are needed.

/** The quantities, and the count that weighs each: it tells whether a bucket has a value. */
export const WEIGHTS = {
  off: 'syncs', toFollower: 'syncs', jitter: 'syncs', path: 'resps', toMaster: 'resps', respDelay: 'resps',
  rx: 'records', tx: 'records', ab: 'abSeconds',
};
const QUANTITY_COLUMN = new RegExp(`^(${Object.keys(WEIGHTS).join('|')})(Lo|Hi|Avg10|Sd10)$`);
const AB = ['abSeconds', 'abAvg10', 'abLo', 'abHi'];
const CHUNKS_KEPT = 80;

/** Which count tells whether a bucket has a value in this column; nothing for a count, which always has one. */
const counterOf = column => WEIGHTS[QUANTITY_COLUMN.exec(column)?.[1]];

/** Reads zigzag variable-length integers, low seven bits first. */
class Integers {
  constructor(bytes) {
    this.bytes = bytes;
    this.at = 0;
  }

  next() {
    let byte = this.bytes[this.at++];
    let value = byte & 127;
    for (let factor = 128; byte > 127; factor *= 128) {
      byte = this.bytes[this.at++];
      value += (byte & 127) * factor;
    }
    return value % 2 ? -(value + 1) / 2 : value / 2;
  }
}

/** Values that were stored as differences from the one before. */
function readCounts(integers, count) {
  const plane = new Float64Array(count);
  let last = 0;
  for (let i = 0; i < count; i++) plane[i] = last += integers.next();
  return plane;
}

/** Values that were stored as differences from a prediction, which follows them smoothly, in sixteenths. */
function readSmooth(integers, count, counter) {
  const plane = new Float64Array(count).fill(NaN);
  let prediction = 0;
  let first = true;
  for (let i = 0; i < count; i++) {
    if (!(counter[i] > 0)) continue;
    const value = integers.next() + Math.floor((prediction + 8) / 16);
    plane[i] = value;
    const difference = value * 16 - prediction;
    if (first || Math.abs(difference) > 16384 || Math.abs(value) > 2 ** 48) prediction = value * 16;
    else prediction += Math.floor(difference / 8);
    first = false;
  }
  return plane;
}

/** Makes whole units of what is stored: the average in parts, least and greatest as distances from it. */
function restore(planes, divisor) {
  for (const name of Object.keys(WEIGHTS)) {
    const average = planes[name + 'Avg10'];
    if (!average) continue;
    const { [name + 'Lo']: low, [name + 'Hi']: high, [name + 'Sd10']: deviation } = planes;
    // A single message's offset is a whole number of nanoseconds, a difference of averages isn't.
    const part = name === 'ab' ? divisor : 1;
    for (let i = 0; i < average.length; i++) {
      const middle = part > 1 ? average[i] : Math.floor((average[i] + Math.floor(divisor / 2)) / divisor);
      low[i] = (middle - low[i]) / part;
      high[i] = (middle + high[i]) / part;
      average[i] /= divisor;
      if (deviation) deviation[i] /= divisor;
    }
    planes[name] = { low, high, average, deviation };
  }
  return planes;
}

/**
 * The planes of a chunk's `count` buckets: for SFP A, SFP B and, unless there is none, the difference of both an object
 * of Float64Arrays by column, and by quantity {low, high, average, deviation} in its unit, NaN where nothing was
 * measured.
 */
export function decodePlanes(bytes, count, columns, divisor, hasDifference = true) {
  const integers = new Integers(bytes);
  return [columns, columns, ...(hasDifference ? [AB] : [])].map(names => {
    const planes = {};
    for (const name of names) {
      const counter = counterOf(name);
      planes[name] = counter ? readSmooth(integers, count, planes[counter]) : readCounts(integers, count);
    }
    return restore(planes, divisor);
  });
}

/** All levels; `inflate` is an asynchronous function of bytes to bytes. */
export class Store {
  constructor(meta, bytes, inflate) {
    this.base = meta.base;
    this.end = meta.t1;
    this.bytes = bytes;
    this.inflate = inflate;
    /** Called whenever all chunks that were asked for have been decoded. */
    this.arrived = null;
    this.waiting = 0;
    this.clock = 0;
    const levels = meta.levels.map(level => this.openLevel(level, meta.columns)).filter(level => level.segments.length);
    /** From coarse to fine. */
    this.levels = levels.filter(level => !level.isSide);
    /** What is shown on demand, in columns of its own. */
    this.side = levels.find(level => level.isSide);
    const covering = this.levels.filter(level => this.covers(level, meta.t1));
    /** The finest level without holes: always decoded. */
    this.whole = covering.filter(level => level.width >= 60).pop() || covering[covering.length - 1] || this.levels[0];
  }

  openLevel(level, columns) {
    const segments = [];
    const opened = { width: level.w, columns: level.columns || columns, isSide: Boolean(level.columns),
      divisor: level.div, segments };
    let bucket = 0;
    opened.chunks = level.chunks.map(([at, size, runs]) => {
      const chunk = { at, size, count: 0, planes: null, asked: null, used: 0, level: opened };
      for (let i = 0; i < runs.length; i += 2) {
        bucket += runs[i];
        segments.push({ first: bucket, count: runs[i + 1], at: chunk.count, chunk });
        chunk.count += runs[i + 1];
        bucket += runs[i + 1];
      }
      return chunk;
    });
    return opened;
  }

  covers(level, end) {
    const [segment] = level.segments;
    const count = level.segments.reduce((sum, s) => sum + s.count, 0);
    return segment.first === 0 && this.base + count * level.width >= end;
  }

  /** Decodes a chunk; resolves when it is there. */
  load(chunk) {
    chunk.asked ??= (async () => {
      this.waiting++;
      try {
        const bytes = await this.inflate(this.bytes.subarray(chunk.at, chunk.at + chunk.size));
        const { columns, divisor, isSide } = chunk.level;
        chunk.planes = decodePlanes(bytes, chunk.count, columns, divisor, !isSide);
      } finally {
        this.waiting--;
      }
      chunk.used = ++this.clock;
      this.forgetOld();
      if (this.waiting === 0) this.arrived?.();
    })();
    return chunk.asked;
  }

  loadLevel(level) {
    return Promise.all(level.chunks.map(chunk => this.load(chunk)));
  }

  /** Keeps the memory within bounds on a walk through a long recording. */
  forgetOld() {
    const decoded = this.levels.filter(level => level !== this.whole)
      .flatMap(level => level.chunks.filter(chunk => chunk.planes));
    if (decoded.length <= CHUNKS_KEPT) return;
    decoded.sort((x, y) => x.used - y.used);
    for (const chunk of decoded.slice(0, decoded.length - CHUNKS_KEPT)) chunk.planes = chunk.asked = null;
  }

  /** The segments of a level that touch a to b and are decoded; asks for those that aren't. */
  * segments(level, a, b) {
    const { segments, width } = level;
    const from = (a - this.base) / width;
    const to = (b - this.base) / width;
    let low = 0;
    let high = segments.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (segments[middle].first + segments[middle].count <= from) low = middle + 1;
      else high = middle;
    }
    for (; low < segments.length && segments[low].first < to; low++) {
      const { chunk } = segments[low];
      if (chunk.planes) {
        chunk.used = ++this.clock;
        yield segments[low];
      } else {
        this.load(chunk);
      }
    }
  }
}

export async function inflateRaw(bytes) {
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate-raw'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

export function bytesOfBase64(text) {
  const binary = atob(text.trim());
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
  return bytes;
}
