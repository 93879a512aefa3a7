// The plant's page: zooms the axis that all machines share. Everything else stands in the page already.

import { clock, day, isMidnight, timeTicks } from './time.mjs';

const LEAST_SECONDS = 30;
/** Browsers lay out nothing wider. */
const WIDEST_PIXELS = 16e6;
/** Seconds around a moment that is jumped to. */
const AROUND = 300;

const axis = document.getElementById('axis');
const whole = { from: Number(axis.dataset.from), to: Number(axis.dataset.to) };
const view = { ...whole };
const ticks = axis.querySelector('.ticks .track');
const width = () => ticks.parentElement.clientWidth;

function drawTicks() {
  const { ticks: moments } = timeTicks(view.from, view.to, width());
  const seconds = view.to - view.from < 1800;
  ticks.replaceChildren(...moments.map(t => {
    const tick = document.createElement('span');
    tick.style.left = `${(t - whole.from) / (whole.to - whole.from) * 100}%`;
    tick.textContent = isMidnight(t) ? day(t) : clock(t, seconds);
    return tick;
  }));
}

/** Shows [from, to), kept within the recordings. */
function show(from, to) {
  const all = whole.to - whole.from;
  const least = Math.max(LEAST_SECONDS, all * width() / WIDEST_PIXELS);
  const span = Math.min(Math.max(to - from, least), all);
  view.from = Math.min(Math.max((from + to - span) / 2, whole.from), whole.to - span);
  view.to = view.from + span;
  axis.style.setProperty('--zoom', all / span);
  axis.style.setProperty('--start', (view.from - whole.from) / all);
  drawTicks();
}

/** By `factor` around a share of the view. */
function zoom(factor, at = 0.5) {
  const span = view.to - view.from;
  const centre = view.from + span * at;
  show(centre - span * factor * at, centre + span * factor * (1 - at));
}

function move(share) {
  const by = (view.to - view.from) * share;
  const from = Math.min(Math.max(view.from + by, whole.from), whole.to - (view.to - view.from));
  show(from, from + view.to - view.from);
}

const ACTIONS = {
  in: () => zoom(0.5),
  out: () => zoom(2),
  left: () => move(-0.25),
  right: () => move(0.25),
  all: () => show(whole.from, whole.to),
};
const KEYS = { '+': 'in', '-': 'out', ArrowLeft: 'left', ArrowRight: 'right', 0: 'all' };

/** The share of the view under the pointer. */
function shareAt(event) {
  const lane = ticks.parentElement.getBoundingClientRect();
  return Math.min(1, Math.max(0, (event.clientX - lane.left) / lane.width));
}

/** Marks with the pointer what is to be shown. */
function drag(event) {
  if (event.button !== 0 || event.pointerType === 'touch' || event.target.closest('a, button')) return;
  const begin = shareAt(event);
  const mark = document.createElement('i');
  mark.className = 'marked';
  axis.querySelector('.shared .lane').append(mark);
  const span = view.to - view.from;
  const onMove = e => {
    const [low, high] = [begin, shareAt(e)].sort((a, b) => a - b);
    mark.style.cssText = `left:${low * 100}%;width:${(high - low) * 100}%`;
  };
  const onEnd = e => {
    removeEventListener('pointermove', onMove);
    removeEventListener('pointerup', onEnd);
    mark.remove();
    const [low, high] = [begin, shareAt(e)].sort((a, b) => a - b);
    if ((high - low) * width() > 4) show(view.from + span * low, view.from + span * high);
  };
  addEventListener('pointermove', onMove);
  addEventListener('pointerup', onEnd);
}

function setUp() {
  if (!(whole.to > whole.from)) return;
  document.documentElement.classList.add('live');
  axis.addEventListener('pointerdown', drag);
  axis.addEventListener('dblclick', ACTIONS.all);
  axis.addEventListener('wheel', event => {
    if (!event.ctrlKey) return;
    event.preventDefault();
    zoom(event.deltaY > 0 ? 1.25 : 0.8, shareAt(event));
  }, { passive: false });
  for (const button of document.querySelectorAll('[data-do]')) button.onclick = ACTIONS[button.dataset.do];
  for (const link of document.querySelectorAll('a[data-t]')) {
    link.addEventListener('click', () => show(Number(link.dataset.t) - AROUND, Number(link.dataset.t) + AROUND));
  }
  addEventListener('keydown', event => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.target.closest('.scroll')) return;
    const action = ACTIONS[KEYS[event.key]];
    if (action) action();
  });
  addEventListener('resize', drawTicks);
  drawTicks();
}

setUp();
