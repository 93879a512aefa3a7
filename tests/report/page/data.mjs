// Levels for tests, packed by a writer that shares nothing with the reader but the format.

import { deflateRawSync, inflateRawSync } from 'node:zlib';

import { Store } from '../../../src/report/page/decode.mjs';

export const COLUMNS = [
  'records', 'syncs', 'syncsDue', 'resps', 'respsDue', 'locked', 'offLo', 'offHi', 'offAvg10', 'offSd10', 'pathLo',
  'pathHi', 'pathAvg10'
];

const variable = value => {
  const bytes = [];
  let rest = value < 0n ? -2n * value - 1n : 2n * value;
  for (; rest > 127n; rest >>= 7n) bytes.push(Number(rest & 127n) | 128);
  return [...bytes, Number(rest)];
};

const counts = values => values.flatMap((value, i) => variable(BigInt(value - (i ? values[i - 1] : 0))));

function smooth(values) {
  let p = null;
  return values.flatMap(number => {
    const value = BigInt(number);
    const written = variable(value - (p === null ? 0n : (p + 8n) >> 4n));
    const difference = p === null ? 0n : value * 16n - p;
    const far = difference > 16384n || difference < -16384n || value > 2n ** 48n || value < -(2n ** 48n);
    p = p === null || far ? value * 16n : p + (difference >> 3n);
    return written;
  });
}

/** seconds: {syncs, resps, locked, low, high, average, sd, path: [low, average, high]} or null without a record. */
function sfpBytes(rows, rate, div) {
  const whole = average => Math.floor((average + Math.floor(div / 2)) / div);
  const off = rows.filter(row => row?.syncs > 0);
  const path = rows.filter(row => row?.resps > 0);
  const of = (list, value) => smooth(list.map(value));
  const count = value => counts(rows.map(row => (row ? value(row) : 0)));
  return [
    ...count(row => row.records),
    ...count(row => row.syncs),
    ...count(row => row.records * rate[0]),
    ...count(row => row.resps),
    ...count(row => row.records * rate[1]),
    ...count(row => row.locked),
    ...of(off, row => whole(row.average) - row.low),
    ...of(off, row => row.high - whole(row.average)),
    ...of(off, row => row.average),
    ...of(off, row => row.sd),
    ...of(path, row => whole(row.path[1]) - row.path[0]),
    ...of(path, row => row.path[2] - whole(row.path[1])),
    ...of(path, row => row.path[1]),
  ];
}

/** A chunk of rows [{a, b, ab: [seconds, average, low, high] or null}], averages in parts of 1/div ns. */
export function packChunk(rows, { rate = [8, 8], div = 1 } = {}) {
  const differences = rows.filter(row => row.ab).map(row => row.ab);
  return Uint8Array.from([
    ...sfpBytes(rows.map(row => row.a), rate, div), ...sfpBytes(rows.map(row => row.b), rate, div),
    ...counts(rows.map(row => (row.ab ? row.ab[0] : 0))), ...smooth(differences.map(ab => ab[1])),
    ...smooth(differences.map(ab => ab[1] - ab[2])), ...smooth(differences.map(ab => ab[3] - ab[1])),
  ]);
}

/** Buckets of `width` of rows of one second each. */
export function merge(rows, width) {
  const mergeSfp = list => {
    const some = list.filter(Boolean);
    if (!some.length) return null;
    const sum = value => some.reduce((total, row) => total + value(row), 0);
    const syncs = sum(row => row.syncs);
    const average = syncs ? sum(row => row.syncs * row.average) / syncs : 0;
    const square = syncs ? sum(row => row.syncs * (row.sd ** 2 + (row.average - average) ** 2)) / syncs : 0;
    const heard = some.filter(row => row.syncs > 0);
    return {
      records: some.length, syncs, resps: sum(row => row.resps), locked: sum(row => row.locked),
      low: Math.min(...heard.map(row => row.low)), high: Math.max(...heard.map(row => row.high)),
      average: Math.round(average * 10), sd: Math.round(Math.sqrt(square) * 10), path: [1000, 20000, 3000],
    };
  };
  const buckets = [];
  for (let i = 0; i < rows.length; i += width) {
    const part = rows.slice(i, i + width);
    buckets.push({ a: mergeSfp(part.map(row => row.a)), b: null, ab: null });
  }
  return buckets;
}

/** A store of levels [{w, div, parts: [[first bucket, rows], …]}]. */
export async function storeOf(levels, { base = 0, end } = {}) {
  const blobs = [];
  let place = 0;
  const meta = { base, t1: end, columns: COLUMNS, levels: levels.map(({ w, div, parts }) => {
    let behind = 0;
    return { w, div, chunks: parts.map(([first, rows]) => {
      const blob = deflateRawSync(packChunk(rows, { div }));
      const chunk = [place, blob.length, [first - behind, rows.length]];
      behind = first + rows.length;
      place += blob.length;
      blobs.push(blob);
      return chunk;
    }) };
  }) };
  const store =
      new Store(meta, new Uint8Array(Buffer.concat(blobs)), async bytes => new Uint8Array(inflateRawSync(bytes)));
  await Promise.all(store.levels.map(level => store.loadLevel(level)));
  return store;
}
