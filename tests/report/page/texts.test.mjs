// Numbers, moments, states and scales as the reader sees them.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { axisNanoseconds, duration, grouped, nanoseconds, percent } from '../../../src/report/page/format.mjs';
import { Runs } from '../../../src/report/page/runs.mjs';
import { Scale, linearTicks } from '../../../src/report/page/scales.mjs';
import { clock, dateTime, setRecorderZone, setZone, timeRange, timeTicks } from '../../../src/report/page/time.mjs';

const plain = text => text.replace(/[\u00a0\u202f]/g, ' ').replace(/\u2212/g, '-');

test('numbers', () => {
  for (const [text, expected] of [
           [nanoseconds(-2231), '-2 231 ns'],
           [nanoseconds(0.04, 1), '0.0 ns'],
           [nanoseconds(-0.04, 1), '0.0 ns'],
           [nanoseconds(12.34, 1), '12.3 ns'],
           [nanoseconds(99999), '99 999 ns'],
           [nanoseconds(123456), '123.456 µs'],
           [nanoseconds(318385151), '318.385 ms'],
           [nanoseconds(-37e9), '-37 s'],
           [nanoseconds(864e14), '1000 days'],
           [nanoseconds(NaN), '–'],
           [nanoseconds(-Infinity), '–'],
           [axisNanoseconds(-1500), '-1.5 µs'],
           [axisNanoseconds(0), '0'],
           [grouped(-1234567), '-1 234 567'],
           [duration(0), '0 s'],
           [duration(59.6), '1 min'],
           [duration(3661), '1 h 1 min'],
           [duration(86400 * 3 + 60), '3 d'],
           [percent(0), '0 %'],
           [percent(1), '100 %'],
           [percent(0.99996), '99.996 %'],
           [percent(0.0000131), '0.0013 %'],
           [percent(0.04), '4.00 %'],
  ])
    assert.equal(plain(text), expected);
});

// 2026-03-29 01:00 UTC: Berlin's clocks go from 02:00 to 03:00.
const CHANGE = 1774746000;

test('the recorder’s zone changes its clock', () => {
  setRecorderZone([[0, 3600], [CHANGE, 7200]]);
  const both = () => [clock(CHANGE - 1), clock(CHANGE)];
  setZone('utc');
  assert.deepEqual(both(), ['00:59:59', '01:00:00']);
  setZone('rec');
  assert.deepEqual(both(), ['01:59:59', '03:00:00']);
  assert.equal(dateTime(CHANGE - 7200), '2026-03-29 00:00:00');
  assert.equal(timeRange(CHANGE - 60, CHANGE + 60), 'Sun 29 Mar 01:59:00 – 03:01:00 UTC+01:00 / +02:00');
  const { step, ticks } = timeTicks(CHANGE - 4 * 3600, CHANGE + 4 * 3600, 1000);
  assert.equal(step, 3600);
  assert.deepEqual(
      ticks.map(t => clock(t, false)),
      ['22:00', '23:00', '00:00', '01:00', '03:00', '04:00', '05:00', '06:00', '07:00']);
  const days = timeTicks(CHANGE - 86400 * 5, CHANGE + 86400 * 5, 1000).ticks;
  assert.ok(days.length >= 10 && days.every(t => clock(t) === '00:00:00'));
  setZone('utc');
});

test('runs', () => {
  const runs = new Runs([100, 5, 10, 7, 20, 5], 1000, 1200);
  assert.deepEqual([1099, 1100, 1109, 1110, 1500].map(t => runs.indexAt(t)), [-1, 0, 0, 1, 2]);
  assert.deepEqual(
      [...runs.within(1105, 1150)].map(r => [r.a, r.b, r.value]), [[1105, 1110, 5], [1110, 1130, 7], [1130, 1150, 5]]);
  assert.equal(runs.share(value => value === 7, 1100, 1200), 0.2);
  assert.deepEqual(runs.valuesWithin(0, 5000), [5, 7]);
  assert.equal(new Runs(undefined, 0, 10).length, 0);
});

test('a scale shows all that is in view, and in order', () => {
  for (const [inner, outer, logarithmic] of [
           [[-100, 100], [-100, 100], true],
           [[-100, 120], [-2500, 3.2e8], true],
           [[0, 0], [0, 0], true],
           [[1800, 4200], [1700, 9e9], false],
  ]) {
    const scale = new Scale({ inner, outer, top: 20, height: 120, logarithmic });
    const values = [
      outer[0], outer[0] * 0.999, inner[0], (inner[0] + inner[1]) / 2, inner[1], outer[1] * 0.5, outer[1] * 0.999,
      outer[1]
    ].sort((x, y) => x - y);
    const heights = values.map(value => scale.y(value));
    heights.forEach((y, i) => {
      assert.ok(y >= 20 && y <= 140, `${values[i]} at ${y}`);
      if (i && values[i] > values[i - 1]) assert.ok(y < heights[i - 1], `${values[i]} above ${values[i - 1]}`);
    });
    const ticks = scale.ticks(30).map(tick => tick.y).sort((x, y) => x - y);
    assert.ok(ticks.every((y, i) => !i || y - ticks[i - 1] >= 12));
  }
  assert.deepEqual(linearTicks(-0.5, 21, 4), [0, 10, 20]);
});
