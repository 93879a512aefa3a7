// The strip of the whole recording, with the window that is in view.

import { ScreenPen } from './pens.mjs';
import { dateTime } from './time.mjs';
import { fold } from './fold.mjs';
import { magnitude } from './scales.mjs';
import { sfpColour } from './panels.mjs';
import { byId, clampView, go, page, remember, settle, show } from './state.mjs';

const STRIP_HEIGHT = 40;
let folded = { key: '' };

/** All columns of the recording; kept, for they change only with the width and with what is decoded. */
function wholeColumns(count) {
  const { store, t0, t1 } = page;
  const decoded = store.levels.flatMap(level => level.chunks).filter(chunk => chunk.planes);
  const key = `${count}/${decoded.length}`;
  if (folded.key !== key) {
    folded = { key, sfps: [0, 1].map(sfp => (page.hasSfp[sfp] ? fold(store, sfp, 'off', t0, t1, count) : null)) };
  }
  return folded.sfps;
}

export function drawStrip(left) {
  const box = byId('mini');
  const width = box.clientWidth;
  const pen = new ScreenPen(box.querySelector('canvas'), width, STRIP_HEIGHT);
  const { colour: c } = pen;
  const wide = width - left - 6;
  const count = Math.max(10, Math.floor(wide));
  const middle = STRIP_HEIGHT / 2;
  const { meta } = page;
  const worst = meta.worst.filter(Boolean).map(w => Math.max(-w[2], w[3]));
  const top = 1.1 * Math.max(meta.limits.offsetFail || 1000, ...worst);
  pen.rect(left, 0, wide, STRIP_HEIGHT, c.soft);
  wholeColumns(count).forEach((columns, sfp) => {
    if (!columns) return;
    const tops = new Float64Array(count).fill(NaN);
    const bottoms = new Float64Array(count);
    for (let i = 0; i < count; i++) {
      if (!columns.measured(i)) continue;
      const size = magnitude(Math.max(-columns.low[i], columns.high[i]), top) * (middle - 3);
      tops[i] = sfp ? middle : middle - size;
      bottoms[i] = sfp ? middle + size : middle;
    }
    pen.columns(left, wide / count, tops, bottoms, sfpColour(pen, sfp), 0.55);
    for (let i = 0; i < count; i++) {
      if (columns.unlocked[i]) pen.rect(left + i * wide / count, sfp ? STRIP_HEIGHT - 3 : 0, 1.5, 3, c.uncal);
    }
  });
  pen.text(left - 8, middle, 'whole', c.dim, { align: 'right' });
  placeWindow(pen, left, wide);
}

function placeWindow(pen, left, wide) {
  const { colour: c } = pen;
  const x = t => left + Math.max(0, Math.min(1, (t - page.t0) / (page.t1 - page.t0))) * wide;
  const [from, to] = [x(page.view.a), x(page.view.b)];
  pen.rect(left, 0, from - left, STRIP_HEIGHT, c.card, 0.6);
  pen.rect(to, 0, left + wide - to, STRIP_HEIGHT, c.card, 0.6);
  const frame = byId('window');
  frame.style.left = `${Math.min(from, left + wide - 6)}px`;
  frame.style.width = `${Math.max(6, to - from)}px`;
  frame.setAttribute('aria-valuemin', page.t0);
  frame.setAttribute('aria-valuemax', page.t1);
  frame.setAttribute('aria-valuenow', Math.round((page.view.a + page.view.b) / 2));
  frame.setAttribute('aria-valuetext', `${dateTime(page.view.a)} to ${dateTime(page.view.b)}`);
}

/** Drag the window, one of its edges, or a new window; a click brings the window there. */
export function setUpStrip(leftOf) {
  const box = byId('mini');
  const frame = byId('window');
  const full = () => page.t1 - page.t0;
  const timeAt = event => {
    const place = box.getBoundingClientRect();
    return page.t0 + (event.clientX - place.left - leftOf()) / (place.width - leftOf() - 6) * full();
  };
  const partOf = target => {
    if (target === frame) return 'all';
    if (target.parentNode === frame) return target === frame.firstElementChild ? 'begin' : 'end';
    return 'new';
  };
  let grip = null;
  box.addEventListener('pointerdown', event => {
    grip = { part: partOf(event.target), t: timeAt(event), view: { ...page.view } };
    box.setPointerCapture(event.pointerId);
  });
  box.addEventListener('pointermove', event => {
    if (!grip) return;
    const t = timeAt(event);
    const way = t - grip.t;
    const { a, b } = grip.view;
    if (grip.part === 'all') show(clampView(a + way, b + way));
    else if (grip.part === 'begin') show(clampView(Math.min(a + way, b - 5), b));
    else if (grip.part === 'end') show(clampView(a, Math.max(b + way, a + 5)));
    else if (Math.abs(way) > full() * 0.003) show(clampView(Math.min(t, grip.t), Math.max(t, grip.t)));
  });
  box.addEventListener('pointerup', event => {
    if (!grip) return;
    const t = timeAt(event);
    remember(grip.view);
    if (grip.part === 'new' && Math.abs(t - grip.t) <= full() * 0.003) {
      const span = Math.min(page.view.b - page.view.a, full() / 20);
      go(t - span / 2, t + span / 2, { keep: false });
    }
    grip = null;
    settle();
  });
  frame.addEventListener('keydown', event => {
    const way = { ArrowLeft: -0.2, ArrowDown: -0.2, ArrowRight: 0.2, ArrowUp: 0.2 }[event.key];
    if (!way || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    event.stopPropagation();
    const span = page.view.b - page.view.a;
    go(page.view.a + way * span, page.view.b + way * span, { glide: false });
  });
}
