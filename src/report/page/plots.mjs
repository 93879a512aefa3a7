// Exceedance, distribution and stability of the offset, SFP A beside SFP B.

import { ScreenPen } from './pens.mjs';
import { axisNanoseconds, duration, grouped, nanoseconds, percent, raised } from './format.mjs';
import { linearTicks } from './scales.mjs';
import { sfpColour } from './panels.mjs';
import { byId, page } from './state.mjs';

const PLOT_HEIGHT = 240;
const FIELD = { left: 58, top: 12, right: 12, bottom: 34 };
const TICK_TEXT = { size: 10.5 };
const TIMES = [[1, '1 s'], [10, '10 s'], [60, '1 min'], [600, '10 min'], [3600, '1 h'], [21600, '6 h'], [86400, '1 d'],
  [604800, '7 d']];

/** SFP B's line is dashed, so that it reads without colour. */
const dashOf = sfp => (sfp ? [6, 3] : null);
const withData = has => [0, 1].filter(sfp => page.hasSfp[sfp] && has(sfp));

/** A field with a pen; null while the section is hidden. */
function open(id) {
  const box = byId(id);
  const width = box.clientWidth;
  if (!width) return null;
  const field = { ...FIELD, width: width - FIELD.left - FIELD.right, height: PLOT_HEIGHT - FIELD.top - FIELD.bottom };
  field.end = field.left + field.width;
  field.base = field.top + field.height;
  return { pen: new ScreenPen(box.querySelector('canvas'), width, PLOT_HEIGHT), field };
}

function gridLineX(pen, field, x, words, width = 0.8) {
  pen.line(x, field.top, x, field.base, pen.colour.line, width);
  const half = pen.width(words, TICK_TEXT.size) / 2;
  const inside = Math.min(x, field.end + FIELD.right - half);
  pen.text(inside, field.base + 11, words, pen.colour.dim, { align: 'center', ...TICK_TEXT });
}

function gridLineY(pen, field, y, words) {
  pen.line(field.left, y, field.end, y, pen.colour.line, 0.8);
  pen.text(field.left - 6, y, words, pen.colour.dim, { align: 'right', ...TICK_TEXT });
}

function nameX(pen, field, words) {
  pen.text(field.end, field.base + 25, words, pen.colour.dim, { align: 'right', ...TICK_TEXT });
}

/** Seconds in which the offset was greater than so much, both axes logarithmic. */
function drawExceedance() {
  const opened = open('far');
  if (!opened) return null;
  const { pen, field } = opened;
  const { beyond, limits } = page.meta;
  const sfps = withData(sfp => beyond[sfp]?.length);
  const totals = [0, 1].map(sfp => beyond[sfp]?.[1] || 1);
  const farthest = Math.log10(Math.max(1000, ...sfps.map(sfp => beyond[sfp][beyond[sfp].length - 2])));
  const rarest = 0.5 / Math.max(...totals);
  const x = value => field.left + Math.log10(Math.max(1, value)) / farthest * field.width;
  const y = share => field.top + Math.log10(Math.max(share, rarest)) / Math.log10(rarest) * field.height;
  for (let e = 0; e <= farthest; e++) gridLineX(pen, field, x(10 ** e), axisNanoseconds(10 ** e));
  for (let e = 0; e >= Math.log10(rarest); e--) {
    gridLineY(pen, field, y(10 ** e), e > -4 ? `${Number((10 ** (e + 2)).toPrecision(2))} %` : `10${raised(e)}`);
  }
  if (x(limits.offsetFail) < field.end) {
    pen.line(x(limits.offsetFail), field.top, x(limits.offsetFail), field.base, pen.colour.limit, 1, [5, 4]);
    pen.text(x(limits.offsetFail) + 4, field.top + 7, 'limit', pen.colour.limit, { size: 10 });
  }
  for (const sfp of sfps) {
    const points = [];
    for (let i = 0; i < beyond[sfp].length; i += 2) {
      const share = beyond[sfp][i + 1] / totals[sfp];
      points.push([x(beyond[sfp][i]), share > 0 ? y(share) : field.base]);
      if (share <= 0) break;
    }
    pen.poly(points, sfpColour(pen, sfp), 2, 1, dashOf(sfp));
  }
  nameX(pen, field, '|offset| greater than');
  return at => {
    const value = 10 ** ((at - field.left) / field.width * farthest);
    if (value < 1 || value > 10 ** farthest * 1.1) return '';
    return sfps.map(sfp => {
      const list = beyond[sfp];
      let i = 0;
      while (i + 2 < list.length && list[i + 2] <= value) i += 2;
      const share = percent(list[i + 1] / totals[sfp]);
      return `SFP ${'AB'[sfp]}: beyond ${nanoseconds(list[i])} in ${grouped(list[i + 1])} s (${share})`;
    }).join(' · ');
  };
}

function drawDistribution() {
  const opened = open('hist');
  if (!opened) return null;
  const { pen, field } = opened;
  const { lo, step, n } = page.meta.histogram;
  const sfps = withData(sfp => n[sfp]?.length);
  const bins = Math.max(1, ...sfps.map(sfp => n[sfp].length));
  const sums = [0, 1].map(sfp => (n[sfp] || []).reduce((sum, value) => sum + value, 0) || 1);
  const most = Math.max(1e-9, ...sfps.flatMap(sfp => n[sfp].map(value => value / sums[sfp])));
  const x = value => field.left + (value - lo) / (bins * step) * field.width;
  const y = share => field.base - share / most * field.height * 0.96;
  for (const value of linearTicks(lo, lo + bins * step, Math.max(3, field.width / 70))) {
    gridLineX(pen, field, x(value), axisNanoseconds(value), value === 0 ? 1.4 : 0.8);
  }
  for (const sfp of sfps) {
    const outline = n[sfp].flatMap((value, i) =>
      [[x(lo + i * step), y(value / sums[sfp])], [x(lo + (i + 1) * step), y(value / sums[sfp])]]);
    pen.shape([[x(lo), field.base], ...outline, [x(lo + bins * step), field.base]], sfpColour(pen, sfp), 0.16);
    pen.poly(outline, sfpColour(pen, sfp), 1.8, 1, dashOf(sfp));
  }
  gridLineY(pen, field, y(most), percent(most));
  gridLineY(pen, field, field.base, '0');
  nameX(pen, field, 'average offset of a second');
  return at => {
    const bin = Math.floor((at - field.left) / field.width * bins);
    if (bin < 0 || bin >= bins) return '';
    const from = lo + bin * step;
    const range = step > 1 ? `${nanoseconds(from)} to ${nanoseconds(from + step - 1)}` : nanoseconds(from);
    const counts = sfps.map(sfp => `SFP ${'AB'[sfp]} ${grouped(n[sfp][bin])} s (${percent(n[sfp][bin] / sums[sfp])})`);
    return `${range}: ${counts.join(' · ')}`;
  };
}

const pairs = list => {
  const points = [];
  for (let i = 0; i < (list || []).length; i += 2) if (list[i + 1] > 0) points.push([list[i], list[i + 1]]);
  return points;
};

function nearest(points, value) {
  const distance = point => Math.abs(Math.log(point[0] / value));
  return points.reduce((best, point) => (!best || distance(point) < distance(best) ? point : best), null);
}

/** MTIE and TDEV against the observation time, both axes logarithmic. */
function drawStability() {
  const opened = open('stab');
  if (!opened) return null;
  const { pen, field } = opened;
  const curves = (page.meta.stability || []).map(({ mtie, tdev }) => ({ mtie: pairs(mtie), tdev: pairs(tdev) }));
  const sfps = withData(sfp => curves[sfp]?.mtie.length);
  const points = sfps.flatMap(sfp => [...curves[sfp].mtie, ...curves[sfp].tdev]);
  if (!points.length) {
    const middle = field.left + field.width / 2;
    pen.text(middle, PLOT_HEIGHT / 2, 'too short a recording', pen.colour.dim, { align: 'center' });
    return () => '';
  }
  const longest = Math.log10(Math.max(10, ...points.map(point => point[0])));
  const low = Math.floor(Math.log10(Math.min(...points.map(point => point[1]))));
  const high = Math.max(low + 1, Math.ceil(Math.log10(Math.max(...points.map(point => point[1])))));
  const x = tau => field.left + Math.log10(tau) / longest * field.width;
  const y = value => field.base - (Math.log10(value) - low) / (high - low) * field.height;
  for (const [tau, words] of TIMES) if (tau <= 10 ** longest) gridLineX(pen, field, x(tau), words);
  for (let e = low; e <= high; e++) gridLineY(pen, field, y(10 ** e), axisNanoseconds(10 ** e));
  for (const sfp of sfps) {
    const place = ([tau, value]) => [x(tau), y(value)];
    pen.poly(curves[sfp].mtie.map(place), sfpColour(pen, sfp), 2, 1, dashOf(sfp));
    pen.poly(curves[sfp].tdev.map(place), sfpColour(pen, sfp), 1.5, 1, dashOf(sfp));
    for (const [px, py] of curves[sfp].tdev.map(place)) {
      pen.shape([[px, py - 2.5], [px + 2.5, py], [px, py + 2.5], [px - 2.5, py]], sfpColour(pen, sfp));
    }
  }
  nameX(pen, field, 'observation time');
  return at => {
    const tau = 10 ** ((at - field.left) / field.width * longest);
    if (tau < 0.7 || tau > 10 ** longest * 1.4) return '';
    return sfps.map(sfp => {
      const mtie = nearest(curves[sfp].mtie, tau);
      const tdev = nearest(curves[sfp].tdev, tau);
      const words = `SFP ${'AB'[sfp]} MTIE ${nanoseconds(mtie[1])} in ${duration(mtie[0])}`;
      return tdev ? `${words}, TDEV ${nanoseconds(tdev[1], 2)} in ${duration(tdev[0])}` : words;
    }).join(' · ');
  };
}

const PLOTS = { far: drawExceedance, hist: drawDistribution, stab: drawStability };
const readers = {};

export function drawPlots() {
  for (const [id, draw] of Object.entries(PLOTS)) readers[id] = draw();
}

export function setUpPlots() {
  for (const id of Object.keys(PLOTS)) {
    const box = byId(id);
    const read = byId(`${id}read`);
    box.addEventListener('pointermove', event => {
      const words = readers[id]?.(event.clientX - box.getBoundingClientRect().left);
      read.textContent = words || '\u00a0';
    });
    box.addEventListener('pointerleave', () => {
      read.textContent = '\u00a0';
    });
  }
}
