// The stack of lanes and panels over one time axis.

import { ScreenPen, PaperPen } from './pens.mjs';
import { clock, dateTime, day, isMidnight, offsetAt, timeTicks, zoneName } from './time.mjs';
import { drawBandPanel, drawBarsPanel } from './panels.mjs';
import { drawCard, drawFlags, drawGenlock, drawMaster, drawState } from './lanes.mjs';
import { fold } from './fold.mjs';
import { layout } from './layout.mjs';
import { byId, page } from './state.mjs';

/** The picture's coordinates, and the folded columns that its panels share. */
function frameOf(pen, width, gutter, view) {
  const left = gutter;
  const wide = width - gutter - 6;
  const count = Math.max(10, Math.floor(wide * pen.columnsPerPixel));
  const folded = {};
  return {
    view, left, width: wide, right: left + wide, count, column: wide / count, folded,
    x: t => left + (t - view.a) / (view.b - view.a) * wide,
    columns: (sfp, quantity) => {
      const key = `${sfp}.${quantity}`;
      folded[key] ??= fold(page.store, sfp, quantity, view.a, view.b, count);
      return folded[key];
    },
  };
}

/** Grid, what lies outside of the recording, and the shade of the incidents. */
function drawBackground(pen, frame, top, bottom, ticks) {
  const { colour: c } = pen;
  const shade = (a, b, fill, alpha, least) => {
    const x = Math.max(frame.left, frame.x(a));
    const width = Math.min(frame.right, frame.x(b)) - x;
    if (width > least) pen.rect(x, top, width, bottom - top, fill, alpha);
  };
  for (const t of ticks) pen.line(frame.x(t), top, frame.x(t), bottom, c.line, 1);
  shade(frame.view.a, page.t0, c.soft, 1, 0);
  shade(page.t1, frame.view.b, c.soft, 1, 0);
  for (const episode of page.episodes) {
    if (episode.severity < 2 || episode.b < frame.view.a || episode.a > frame.view.b) continue;
    shade(episode.a, episode.b, episode.severity === 3 ? c.fail : c.unlocked, 0.07, 2);
  }
}

function drawTimeAxis(pen, frame, row, { step, ticks }) {
  const { colour: c } = pen;
  pen.line(frame.left, row.y, frame.right, row.y, c.dim, 1);
  const zoneWords = zoneName(frame.view.a);
  pen.text(frame.left - 8, row.y + 11, zoneWords, c.dim, { align: 'right', size: frame.left < 60 ? 9.5 : 11 });
  let lastDay = '';
  let free = frame.left - 4;
  let freeBelow = -99;
  for (const t of ticks) {
    const x = frame.x(t);
    pen.line(x, row.y, x, row.y + 4, c.dim, 1);
    const words = step >= 86400 ? day(t).slice(4) : clock(t, step < 60);
    const half = pen.width(words) / 2 + 3;
    if (x - half > free && x + half < frame.right + 10) {
      pen.text(x, row.y + 11, words, c.dim, { align: 'center', weight: isMidnight(t) ? 650 : 400 });
      free = x + half;
    }
    const name = day(t);
    if (name === lastDay || step >= 86400) continue;
    lastDay = name;
    const wide = pen.width(name) / 2;
    const place = Math.max(x, frame.left + wide);
    if (place + wide < frame.right + 10 && place - wide > freeBelow) {
      pen.text(place, row.y + 25, name, c.ink, { align: 'center', weight: 600 });
      freeBelow = place + wide + 8;
    }
  }
}

const DRAW = {
  card: drawCard, genlock: drawGenlock, state: drawState, master: drawMaster,
  band: drawBandPanel, bars: drawBarsPanel,
};

function drawStack(pen, width, { rows, gutter }, view) {
  const frame = frameOf(pen, width, gutter, view);
  const axis = rows[rows.length - 1];
  const time = timeTicks(view.a, view.b, frame.width);
  drawBackground(pen, frame, rows[0].y + rows[0].h, axis.y, time.ticks);
  for (const row of rows) {
    if (row.kind === 'flags') frame.flags = drawFlags(pen, frame, row);
    else if (row.kind === 'axis') drawTimeAxis(pen, frame, row, time);
    else DRAW[row.kind](pen, frame, row);
  }
  return frame;
}

/** Draws the stack on the screen; gives its frame, for the cursor and the pointer. */
export function drawTimeline() {
  const stack = byId('stack');
  const canvas = stack.querySelector('canvas');
  const width = stack.clientWidth;
  const plan = layout(width, window.innerHeight);
  canvas.setAttribute('aria-label', `States and figures, ${dateTime(page.view.a)} to ${dateTime(page.view.b)} ${
    zoneName(page.view.a)}. The figures in view stand in the table above, the incidents in the list.`);
  return drawStack(new ScreenPen(canvas, width, plan.height), width, plan, page.view);
}

/** The same as a drawing for paper. */
export function timelineSvg(width) {
  const plan = layout(width, 1000);
  const pen = new PaperPen(width, plan.height);
  drawStack(pen, width, plan, page.view);
  return pen.svg();
}

/** Distance of the day that holds t from UTC's midnight, for what is drawn by days. */
export const dayStart = t => Math.floor((t + offsetAt(t)) / 86400) * 86400;
