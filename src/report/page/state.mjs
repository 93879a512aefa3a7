// What is looked at: the part in view, the cursor, the settings; kept in the page's address.

import { setZone, zoneChoice } from './time.mjs';

const HISTORY = 100;
const MOTION_MS = 200;
/** The least part in view, in seconds. */
const CLOSEST = 5;

/** The one page's state. meta, store, runs and events are set once, at the start. */
export const page = {
  meta: null,
  store: null,
  runs: {},
  episodes: [],
  t0: 0,
  t1: 0,
  view: { a: 0, b: 0 },
  cursor: null,
  past: [],
  logarithmic: true,
  everything: false,
  panels: { offset0: true, offset1: true, ab: true, path: true, missing: true },
  hasSfp: [true, true],
  onView: [],
  onMoved: [],
};

let motion = 0;
let addressTimer = 0;

export const byId = id => document.getElementById(id);
export const isWhole = () => page.view.a <= page.t0 && page.view.b >= page.t1;

/** Brings a part into the recording, with a little room beside it. */
export function clampView(a, b) {
  const full = page.t1 - page.t0;
  const margin = Math.max(2, full * 0.004);
  const span = Math.max(CLOSEST, Math.min(b - a, full + 2 * margin));
  if (span >= full) return { a: page.t0, b: page.t1 };
  const from = Math.max(page.t0 - margin, Math.min(page.t1 + margin - span, (a + b) / 2 - span / 2));
  return { a: from, b: from + span };
}

/** Shows a part at once, as while a finger drags. */
export function show(view) {
  page.view = view;
  for (const draw of page.onView) draw();
}

export function remember(view) {
  page.past.push({ ...view });
  if (page.past.length > HISTORY) page.past.shift();
}

/** A motion has ended: the address and the list follow. */
export function settle() {
  clearTimeout(addressTimer);
  addressTimer = setTimeout(() => {
    saveAddress();
    for (const follow of page.onMoved) follow();
  }, 150);
}

/** Goes to a part, gliding where the reader likes motion. */
export function go(a, b, { keep = true, glide = true } = {}) {
  const to = clampView(a, b);
  const from = { ...page.view };
  if (keep && (Math.abs(from.a - to.a) > 0.5 || Math.abs(from.b - to.b) > 0.5)) remember(from);
  cancelAnimationFrame(motion);
  const arrive = () => {
    show(to);
    settle();
  };
  if (!glide || document.hidden || matchMedia('(prefers-reduced-motion: reduce)').matches) {
    arrive();
    return;
  }
  const begin = performance.now();
  const step = now => {
    const x = Math.min(1, Math.max(0, (now - begin) / MOTION_MS));
    if (x >= 1) {
      arrive();
      return;
    }
    show(between(from, to, 1 - (1 - x) ** 3));
    motion = requestAnimationFrame(step);
  };
  motion = requestAnimationFrame(step);
}

/** On the way from one view to another: the span changes by equal factors, so zooming looks even. */
function between(from, to, share) {
  const [s0, s1] = [from.b - from.a, to.b - to.a];
  const span = s0 * (s1 / s0) ** share;
  const way = Math.abs(Math.log(s1 / s0)) < 1e-6 ? share : (s0 - span) / (s0 - s1);
  const middle = (from.a + from.b) / 2 * (1 - way) + (to.a + to.b) / 2 * way;
  return { a: middle - span / 2, b: middle + span / 2 };
}

export function zoom(factor, at = (page.view.a + page.view.b) / 2, options) {
  go(at - (at - page.view.a) * factor, at + (page.view.b - at) * factor, options);
}

export const showWhole = () => go(page.t0, page.t1);

export function goBack() {
  const view = page.past.pop();
  if (view) go(view.a, view.b, { keep: false });
}

/** "#v=from-to" and the settings that aren't the usual ones. */
export function addressOf() {
  const settings = [
    ...(page.logarithmic ? [] : ['linear']),
    ...(page.everything ? ['all'] : []),
    ...(zoneChoice() === 'utc' ? [] : [zoneChoice()]),
  ];
  if (isWhole() && !settings.length) return '';
  return `#v=${[`${Math.round(page.view.a)}-${Math.round(page.view.b)}`, ...settings].join(',')}`;
}

function saveAddress() {
  try {
    history.replaceState(null, '', addressOf() || location.pathname + location.search);
  } catch {
    // Some viewers of attachments forbid it; the page works without.
  }
}

/** Restores what an address holds; the id of an episode or false when it holds none. */
export function readAddress() {
  const view = /^#v=(\d+)-(\d+)((?:,\w+)*)$/.exec(location.hash);
  if (view) {
    const settings = view[3].split(',');
    page.logarithmic = !settings.includes('linear');
    page.everything = settings.includes('all');
    setZone(['rec', 'here'].find(name => settings.includes(name)) || 'utc');
    go(Number(view[1]), Number(view[2]), { glide: false, keep: false });
    return true;
  }
  return /^#e\d+$/.test(location.hash) ? location.hash.slice(1) : false;
}
