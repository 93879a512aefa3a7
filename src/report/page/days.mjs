// Days side by side: in each day's row a strip of its 24 hours, so that what comes every day stands in a column.

import { ScreenPen } from './pens.mjs';
import { fold } from './fold.mjs';
import { magnitude } from './scales.mjs';
import { sfpColour } from './panels.mjs';
import { byId, go, page } from './state.mjs';

const DAY_HEIGHT = 26;
const SECONDS_OF_DAY = 86400;

/** The greatest offset while locked, to which all rows are drawn. */
function commonTop() {
  const worst = page.meta.worst.filter(Boolean).map(w => Math.max(-w[2], w[3]));
  return Math.max(page.meta.limits.offsetFail, ...worst.filter(Number.isFinite)) * 1.1;
}

function drawDay(canvas, top) {
  const width = canvas.parentNode.clientWidth;
  if (!width) return;
  const pen = new ScreenPen(canvas, width, DAY_HEIGHT);
  const from = Math.floor(Number(canvas.dataset.t0) / SECONDS_OF_DAY) * SECONDS_OF_DAY;
  const to = from + SECONDS_OF_DAY;
  const { colour: c } = pen;
  const x = t => (t - from) / (to - from) * width;
  pen.rect(0, 0, width, DAY_HEIGHT, c.soft, 0.7);
  const begin = Math.max(0, x(page.t0));
  const end = Math.min(width, x(page.t1));
  pen.rect(begin, 0, end - begin, DAY_HEIGHT, c.card);
  for (let hour = 6; hour < 24; hour += 6) {
    const place = x(from + hour * 3600);
    pen.line(place, 0, place, DAY_HEIGHT, c.line, 0.8);
  }
  const count = Math.max(10, Math.floor(width));
  for (const sfp of [0, 1].filter(k => page.hasSfp[k])) {
    const columns = fold(page.store, sfp, 'off', from, to, count);
    const tops = new Float64Array(count).fill(NaN);
    const bottoms = new Float64Array(count);
    const middle = DAY_HEIGHT / 2;
    for (let i = 0; i < count; i++) {
      if (columns.lockedLow[i] > columns.lockedHigh[i]) continue;
      const size = magnitude(Math.max(-columns.lockedLow[i], columns.lockedHigh[i]), top) * (middle - 2);
      tops[i] = sfp ? middle : middle - size;
      bottoms[i] = sfp ? middle + size : middle;
    }
    pen.columns(0, width / count, tops, bottoms, sfpColour(pen, sfp), 0.6);
    for (let i = 0; i < count; i++) {
      if (columns.unlocked[i]) pen.rect(i * width / count, sfp ? DAY_HEIGHT - 4 : 0, 2, 4, c.uncal);
    }
  }
}

export function drawDays() {
  const top = commonTop();
  for (const canvas of document.querySelectorAll('#days canvas')) drawDay(canvas, top);
}

export function setUpDays() {
  for (const button of document.querySelectorAll('#days button')) {
    button.addEventListener('click', () => {
      go(Number(button.dataset.t0), Number(button.dataset.t1));
      byId('h-time').scrollIntoView();
    });
  }
}
