// Panels of figures: offset, difference of the SFPs, path delay and others as bands, missing messages as bars.

import { COUNTERS } from './fold.mjs';
import { Scale } from './scales.mjs';
import { axisNanoseconds, grouped, nanoseconds } from './format.mjs';
import { hatch } from './pens.mjs';
import { page } from './state.mjs';

const TITLE = { size: 12, weight: 600 };
export const SFP_NAMES = ['A', 'B', 'A − B'];

export const sfpColour = (pen, sfp) => [pen.colour.a, pen.colour.b, pen.colour.ab][sfp];

/** The ground of a panel: its place, its title, and where no record is. */
function drawGround(pen, frame, row) {
  const top = row.y + row.head;
  const height = row.h - row.head;
  pen.rect(frame.left, top, frame.width, height, pen.colour.ink, 0.015);
  pen.clip(frame.left, top, frame.width, height, () => {
    for (const [from, to] of page.gaps) {
      if (to <= frame.view.a || from >= frame.view.b) continue;
      const x = Math.max(frame.left, frame.x(from));
      hatch(pen, x, top, Math.max(1, Math.min(frame.right, frame.x(to)) - x), height, pen.colour.line, 7, 1);
    }
  });
  pen.text(frame.left, row.y + 10, row.title, pen.colour.ink, TITLE);
  return { top, height };
}

/** The range that has the panel to itself (locked seconds, unless all is wanted), and that of all in view. */
function ranges(sets, row) {
  const inner = [Infinity, -Infinity];
  const outer = [Infinity, -Infinity];
  const widen = (range, [low, high]) => {
    range[0] = Math.min(range[0], low);
    range[1] = Math.max(range[1], high);
  };
  for (const { columns } of sets) {
    widen(outer, columns.range());
    widen(inner, columns.range(columns.lockedLow, columns.lockedHigh));
  }
  if (!(outer[0] <= outer[1])) outer.splice(0, 2, -1, 1);
  if (page.everything || !(inner[0] <= inner[1])) inner.splice(0, 2, ...outer);
  if (row.least) widen(inner, [-row.least, row.least]);
  const near = (inner[1] - inner[0]) * (row.least ? 4 : 1.5);
  if (outer[0] > inner[0] - near) inner[0] = Math.min(inner[0], outer[0]);
  if (outer[1] < inner[1] + near) inner[1] = Math.max(inner[1], outer[1]);
  return { inner, outer: [Math.min(outer[0], inner[0]), Math.max(outer[1], inner[1])] };
}

function drawValueAxis(pen, frame, row, scale) {
  const { colour: c } = pen;
  for (const { value, y } of scale.ticks(row.linear ? 18 : 30)) {
    pen.line(frame.left, y, frame.right, y, c.line, value === 0 ? 1.4 : 0.8);
    const nearby = row.linear && Math.abs(value) < 1e5 ? `${grouped(value)} ns` : axisNanoseconds(value);
    const words = row.text ? row.text(value) : nearby;
    pen.text(frame.left - 6, y, words, c.dim, { align: 'right', size: 10.5 });
  }
  for (const [y, value] of [[scale.top, scale.above], [scale.bottom, scale.below]]) {
    if (value !== null) pen.line(frame.left, y, frame.right, y, c.dim, 0.8, [1, 3]);
  }
}

/** Lines of the limits that lie within the scale; fail's name stands on the far side of it, warn's on the near one. */
function limitLines(pen, row, scale) {
  const { colour: c } = pen;
  const [warn, fail] = row.limits || [];
  const kinds = [['warn', warn, c.warn, [2, 3], 1], ['fail', fail, c.limit, [6, 3], -1]];
  const lines = [];
  for (const [kind, limit, stroke, dash, side] of kinds) {
    const name = `${kind} ${axisNanoseconds(limit)}`;
    for (const value of limit ? [limit, -limit] : []) {
      const y = scale.y(value);
      const inside = y > scale.top + 1 && y < scale.bottom - 1;
      if (inside) lines.push({ y, stroke, dash, name, nameY: y + 7 * side * Math.sign(value) });
    }
  }
  return lines;
}

/** Names that find room; fail's first. */
function drawLimitNames(pen, frame, lines) {
  const size = 9.5;
  const taken = [];
  for (const { nameY, name, stroke } of [...lines].reverse()) {
    if (taken.some(y => Math.abs(y - nameY) < 11)) continue;
    taken.push(nameY);
    const width = pen.width(name, size);
    pen.rect(frame.right - width - 5, nameY - 5.5, width + 4, 11, pen.colour.card, 0.8);
    pen.text(frame.right - 3, nameY, name, stroke, { align: 'right', size });
  }
}

/** Bars of least to greatest, out of lock in a colour of their own, ± standard deviation, and the average's line. */
function drawBand(pen, frame, row, scale, { sfp, columns }) {
  const { colour: c } = pen;
  const empty = () => new Float64Array(columns.count).fill(NaN);
  const [top, bottom, outTop, outBottom, inTop, inBottom] = [empty(), empty(), empty(), empty(), empty(), empty()];
  const line = [];
  for (let i = 0; i < columns.count; i++) {
    if (!columns.measured(i)) {
      line.push(null);
      continue;
    }
    const average = columns.average(i);
    if (columns.unlocked[i]) {
      outTop[i] = scale.y(columns.high[i]);
      outBottom[i] = scale.y(columns.low[i]);
    }
    if (columns.lockedLow[i] <= columns.lockedHigh[i]) {
      top[i] = scale.y(columns.lockedHigh[i]);
      bottom[i] = scale.y(columns.lockedLow[i]);
    }
    if (row.spread && !columns.unlocked[i]) {
      const deviation = columns.deviation(i);
      inTop[i] = Math.max(top[i], scale.y(average + deviation));
      inBottom[i] = Math.min(bottom[i], scale.y(average - deviation));
    }
    const y = scale.y(average);
    const x = frame.left + i * frame.column;
    if (columns.unlocked[i] && columns.step[i] > 10 && row.spread) line.push(null);
    else if (columns.step[i] > columns.per * 6) line.push([x, y], [x + frame.column, y]);
    else line.push([x + frame.column / 2, y]);
  }
  const colour = sfpColour(pen, sfp);
  pen.columns(frame.left, frame.column, outTop, outBottom, c.uncal, 0.6);
  pen.columns(frame.left, frame.column, top, bottom, colour, row.spread ? 0.38 : 0.34);
  if (row.spread) pen.columns(frame.left, frame.column, inTop, inBottom, colour, 0.55);
  pen.poly(line, row.spread ? c.ink : colour, row.spread ? 1 : 1.3, 0.9);
}

/** Names the worst of each stretch that lies in a strip at the edge. */
function labelBeyond(pen, frame, row, scale, columns, upwards) {
  const limit = upwards ? scale.above : scale.below;
  if (limit === null) return;
  const beyond = i => columns.measured(i)
    && (upwards ? columns.high[i] > scale.highest : columns.low[i] < scale.lowest);
  const apart = 84 / frame.column;
  let from = -1;
  let last = -1;
  let worst = 0;
  const flush = () => {
    if (from < 0) return;
    const words = (row.text || axisNanoseconds)(worst);
    const wide = pen.width(words, 10, 600);
    const x = frame.left + (from + last + 1) / 2 * frame.column;
    const y = upwards ? scale.edge.top + 7 : scale.edge.bottom - 7;
    const right = x + wide + 16 < frame.right;
    const side = right ? Math.max(x + 8, frame.left + (last + 1) * frame.column + 4) : x - 8;
    const place = right && side + wide < frame.right ? side : x - 8;
    const align = place > x ? 'left' : 'right';
    pen.rect(align === 'left' ? place - 2 : place - wide - 2, y - 6.5, wide + 4, 13, pen.colour.card, 0.85);
    pen.text(place, y, words, pen.colour.uncal, { size: 10, weight: 600, align });
    from = -1;
    worst = 0;
  };
  for (let i = 0; i < columns.count; i++) {
    if (!beyond(i)) continue;
    if (from >= 0 && i - last > apart) flush();
    if (from < 0) from = i;
    last = i;
    const value = upwards ? columns.high[i] : columns.low[i];
    if (Math.abs(value) > Math.abs(worst)) worst = value;
  }
  flush();
}

function drawRangeText(pen, frame, row, sets) {
  const text = row.text || nanoseconds;
  const words = sets.map(({ sfp, columns }) => {
    const [low, high] = columns.range();
    const range = low <= high ? `${text(low)} … ${text(high)}` : 'no value';
    return sets.length > 1 ? `${SFP_NAMES[sfp]} ${range}` : range;
  }).join('   ');
  const room = frame.width - pen.width(row.title, 12, 600) - 30;
  if (pen.width(words) + 50 < room) {
    pen.text(frame.right, row.y + 10, `in view ${words}`, pen.colour.dim, { align: 'right' });
  }
}

/** A panel of one quantity, for one SFP or for both in one. */
export function drawBandPanel(pen, frame, row) {
  const { top, height } = drawGround(pen, frame, row);
  const sets = row.sfps.map(sfp => ({ sfp, columns: frame.columns(sfp, row.quantity) }));
  const logarithmic = page.logarithmic && !row.linear;
  const scale = new Scale({ ...ranges(sets, row), top, height, logarithmic });
  drawValueAxis(pen, frame, row, scale);
  const limits = limitLines(pen, row, scale);
  for (const { y, stroke, dash } of limits) pen.line(frame.left, y, frame.right, y, stroke, 1, dash);
  pen.clip(frame.left, top, frame.width, height, () => {
    for (const set of sets) drawBand(pen, frame, row, scale, set);
  });
  drawLimitNames(pen, frame, limits);
  for (const { columns } of sets) {
    labelBeyond(pen, frame, row, scale, columns, true);
    labelBeyond(pen, frame, row, scale, columns, false);
  }
  drawRangeText(pen, frame, row, sets);
}

/** The share of messages that are due and didn't come. */
export const missingShare = (due, got) => (due > 0 && due - got > 1e-6 ? 1 - got / due : 0);

/** Missing by the card's own counters: a message more or less is where a bucket ends. */
function countedMissing(columns, i, due, got) {
  const bucket = Math.max(1, columns.step[i] / columns.per);
  return (due - got) * bucket > 1.5 ? missingShare(due, got) : 0;
}

/** Kinds of messages: the lane's name, what is folded, the share of column i that is missing. */
export const MISSING_LANES = [
  ['Sync', 'off', (c, i) => missingShare(c.syncsDue[i], c.syncs[i])],
  ['Follow_Up', COUNTERS, (c, i) => countedMissing(c, i, c.followUpsDue[i], c.followUps[i])],
  ['Delay_Resp', 'off', (c, i) => missingShare(c.respsDue[i], c.resps[i])],
  ['Announce', COUNTERS, (c, i) => countedMissing(c, i, c.announcesDue[i] / 16, c.announces[i])],
];

/** What went wrong on the link and in the card, a second. */
export const ERROR_LANES =
    ['dropped', 'errors', 'discarded'].map(name => [name, COUNTERS, (c, i) => c[name][i] / c.per]);

/** A lane's values, for each SFP: {label, most, bars}. */
function measureLane(frame, row, [label, quantity, value]) {
  let most = row.least;
  const bars = row.sfps.map(sfp => {
    const columns = frame.columns(sfp, quantity);
    const values = new Float64Array(columns.count);
    for (let i = 0; i < columns.count; i++) {
      values[i] = value(columns, i);
      most = Math.max(most, values[i]);
    }
    return { sfp, values };
  });
  return { label, most, bars };
}

function drawBarLane(pen, frame, { label, most, bars }, middle, size) {
  pen.line(frame.left, middle, frame.right, middle, pen.colour.line, 1);
  pen.text(frame.left - 6, middle, label, pen.colour.dim, { align: 'right', size: frame.left < 60 ? 8 : 10.5 });
  for (const { sfp, values } of bars) {
    const tops = new Float64Array(values.length).fill(NaN);
    const bottoms = new Float64Array(values.length);
    values.forEach((value, i) => {
      if (value <= 0) return;
      const length = Math.max(1, Math.sqrt(value / most) * size);
      tops[i] = sfp === 0 ? middle - length : middle;
      bottoms[i] = sfp === 0 ? middle : middle + length;
    });
    pen.columns(frame.left, frame.column, tops, bottoms, sfpColour(pen, sfp), 0.95);
  }
}

/**
 * A lane of bars by square root for each kind, SFP A upwards, SFP B downwards. The lanes' scales are one, or each its
 * own where `row.apart` says so.
 */
export function drawBarsPanel(pen, frame, row) {
  const { top, height } = drawGround(pen, frame, row);
  const lanes = row.lanes.map(lane => measureLane(frame, row, lane));
  const most = Math.max(...lanes.map(lane => lane.most));
  const step = height / lanes.length;
  lanes.forEach((lane, n) => {
    drawBarLane(pen, frame, row.apart ? lane : { ...lane, most }, top + (n + 0.5) * step, step / 2 - 1.5);
  });
  const scales = row.apart ? lanes.map(lane => lane.most) : [most];
  const words = `full bar ${scales.map(row.text).join(', ')}`;
  if (pen.width(words) + pen.width(row.title, 12, 600) + 30 < frame.width) {
    pen.text(frame.right, row.y + 10, words, pen.colour.dim, { align: 'right' });
  }
}
