// What the page reads of its data, and how it folds it into columns of pixels.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { decodePlanes } from '../../../src/report/page/decode.mjs';
import { fold } from '../../../src/report/page/fold.mjs';
import { total } from '../../../src/report/page/readout.mjs';
import { COLUMNS, merge, packChunk, storeOf } from './data.mjs';

const second = (average, spread = 10, more = {}) => ({ records: 1, syncs: 8, resps: 8, locked: 1, low: average - spread,
  high: average + spread, average, sd: 5, path: [1000, 2000, 3000], ...more });

test('a chunk gives back what was packed, the greatest numbers too', () => {
  const far = 2 ** 51;
  const rows = [
    {a: second(3), b: second(-4), ab: [1, 7, 7, 7]},
    {a: null, b: second(-2_000_000_000, 1_500_000_000), ab: null},
    {a: second(0, 0, {syncs: 0, resps: 0, locked: 0}), b: second(far, 1), ab: null},
    {a: second(-far, 2), b: second(0, 0, {resps: 0}), ab: [1, -far, -far, far]},
    ...Array.from(
        {length: 300},
        (_, i) => ({a: second(i % 7 * 13 - 40, i % 5), b: second(1e9 - i), ab: [1, i % 3, i % 3 - 1, i]})),
  ];
  const planes = decodePlanes(packChunk(rows), rows.length, COLUMNS, 1);
  rows.forEach((row, i) => ['a', 'b'].forEach((name, sfp) => {
    const expected = row[name];
    const { records, syncs, locked, off, path } = planes[sfp];
    assert.deepEqual([records[i], syncs[i], locked[i]], expected ? [1, expected.syncs, expected.locked] : [0, 0, 0]);
    const offset =
        expected?.syncs ? [expected.low, expected.average, expected.high, expected.sd] : [NaN, NaN, NaN, NaN];
    assert.deepEqual([off.low[i], off.average[i], off.high[i], off.deviation[i]], offset, `${name} ${i}`);
    assert.equal(path.low[i], expected?.resps ? 1000 : NaN);
  }));
  rows.forEach((row, i) => {
    const { low, high, average } = planes[2].ab;
    assert.deepEqual([average[i], low[i], high[i]], row.ab ? row.ab.slice(1) : [NaN, NaN, NaN]);
  });
});

test('averages come in tenths, extremes in whole nanoseconds', () => {
  const row = { ...second(0), average: -25, low: -40, high: 37, sd: 123 };
  const [a, , ab] = decodePlanes(packChunk([{ a: row, b: null, ab: [60, -31, -52, 17] }], { div: 10 }), 1, COLUMNS, 10);
  assert.deepEqual([a.off.average[0], a.off.low[0], a.off.high[0], a.off.deviation[0]], [-2.5, -40, 37, 12.3]);
  assert.deepEqual([ab.ab.average[0], ab.ab.low[0], ab.ab.high[0]], [-3.1, -5.2, 1.7]);
});

// Two hours, the last minute not whole; a spike, some seconds out of lock, and twenty minutes without a record.
const HOURS = 7172;
const SPIKE = 4321;
const UNLOCKED = 1802;
const rows = Array.from({ length: HOURS }, (_, t) => {
  if (t >= 2400 && t < 3600) return { a: null, b: null, ab: null };
  if (t === SPIKE) return { a: second(50, 900), b: null, ab: null };
  if (t >= UNLOCKED && t < UNLOCKED + 5) return { a: second(1000, 70000, { locked: 0 }), b: null, ab: null };
  return { a: second(t % 11 - 5, 100 + t * 7 % 5), b: null, ab: null };
});
const minutes = { w: 60, div: 10, parts: [[0, merge(rows, 60)]] };
const allSeconds = { w: 1, div: 1, parts: [[0, rows.slice(0, 3600)], [3600, rows.slice(3600)]] };
const someSeconds = { w: 1, div: 1, parts: [[1740, rows.slice(1740, 1920)], [4260, rows.slice(4260, 4380)]] };

const measured = rows.map(row => row.a).filter(Boolean);
const mean = measured.reduce((sum, row) => sum + row.average, 0) / measured.length;
const deviation =
    Math.sqrt(measured.reduce((sum, row) => sum + row.sd ** 2 + (row.average - mean) ** 2, 0) / measured.length);

/** Every column against the seconds that begin in it. */
function assertColumns(columns, width, label) {
  const expected = Array.from({ length: width }, () => [Infinity, -Infinity]);
  rows.forEach(({ a }, t) => {
    if (!a) return;
    const range = expected[Math.floor(t * width / HOURS + 1e-9)];
    range[0] = Math.min(range[0], a.low);
    range[1] = Math.max(range[1], a.high);
  });
  expected.forEach((range, c) => assert.deepEqual([columns.low[c], columns.high[c]], range, `${label}, column ${c}`));
}

test('least and greatest are exact at every width, from whatever levels there are', async () => {
  for (const [name, levels] of [['all', [minutes, allSeconds]], ['some', [minutes, someSeconds]]]) {
    const store = await storeOf(levels, { end: HOURS });
    for (const width of [37, 330, 1211, 3800]) {
      const columns = fold(store, 0, 'off', 0, HOURS, width);
      const label = `${name} ${width}`;
      assert.deepEqual(columns.range(), [-69000, 71000], label);
      assert.deepEqual(columns.range(columns.lockedLow, columns.lockedHigh), [-850, 950], label);
      if (name === 'all' && HOURS / width < 60) assertColumns(columns, width, label);
      const spike = Math.floor(SPIKE / HOURS * width);
      const near = [...columns.high].slice(Math.max(0, spike - 1), spike + 2);
      assert.equal(Math.max(...near), 950, label);
      const sum = total(columns);
      const due = (HOURS - 1200) * 8;
      assert.ok(
          Math.abs(sum.syncs[0] - due) < 1e-6 && Math.abs(sum.syncsDue[0] - due) < 1e-6, `${label} ${sum.syncs[0]}`);
      assert.ok(Math.abs(sum.average(0) - mean) < 0.1 && Math.abs(sum.deviation(0) / deviation - 1) < 1e-3, label);
    }
  }
});

test('a column without a record stays empty, and a second is its own', async () => {
  const store = await storeOf([minutes, allSeconds], { end: HOURS });
  const seconds = fold(store, 0, 'off', 0, HOURS, HOURS);
  rows.forEach(({ a }, t) => {
    assert.equal(seconds.measured(t), Boolean(a), `second ${t}`);
    if (!a) return;
    assert.deepEqual([seconds.low[t], seconds.average(t), seconds.high[t], seconds.unlocked[t]],
      [a.low, a.average, a.high, a.locked ? 0 : 1]);
  });
  const wide = fold(store, 0, 'off', SPIKE - 2, SPIKE + 3, 50);
  assert.deepEqual([...wide.high].map(value => value === 950), Array.from({ length: 50 }, (_, c) => c >= 20 && c < 30));
  assert.equal(fold(store, 1, 'off', 0, HOURS, 10).range()[0], Infinity);
});

test('coarse steps fill what no finer ones cover', async () => {
  const store = await storeOf([minutes, someSeconds], { end: HOURS });
  const columns = fold(store, 0, 'off', 1700, 1960, 260);
  assert.deepEqual([39, 40, 102, 219, 220].map(c => columns.step[c]), [60, 1, 1, 1, 60]);
  assert.deepEqual([101, 102, 106, 107].map(c => columns.unlocked[c]), [0, 1, 1, 0]);
});

test('what is left of a coarse step that finer ones cover in part is shared out', async () => {
  const seconds = { w: 1, div: 1, parts: [[1750, rows.slice(1750, 1790)]] };
  const store = await storeOf([minutes, seconds], { end: HOURS });
  const columns = fold(store, 0, 'off', 1740, 1800, 60);
  const steps = Array.from({ length: 60 }, (_, c) => (c < 10 || c >= 50 ? 60 : 1));
  assert.deepEqual([...columns.step], steps);
  for (let c = 10; c < 50; c++) {
    assert.deepEqual([columns.low[c], columns.high[c]], [rows[1740 + c].a.low, rows[1740 + c].a.high]);
  }
  assert.ok(Math.abs(total(columns).syncs[0] - 480) < 1e-6);
});
