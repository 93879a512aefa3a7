// The keyboard.

import { cursorSpan, sayFigures } from './readout.mjs';
import { stepEpisode } from './episodes.mjs';
import { byId, clampView, go, goBack, page, show, showWhole, zoom } from './state.mjs';

/** Moves the reading cursor by one column or bucket and reads it aloud. */
function readOn(way, timeline) {
  const span = cursorSpan(timeline.frame());
  const { a, b } = page.view;
  const half = span ? (span.b - span.a) / 2 : 0;
  const t = span ? (way > 0 ? span.b + half : span.a - half) : (a + b) / 2;
  if (t < a || t > b) {
    const shift = (b - a) * 0.5 * way;
    show(clampView(a + shift, b + shift));
    timeline.drawNow();
  }
  timeline.setCursor(Math.max(page.view.a, Math.min(page.view.b, t)));
  sayFigures();
}

function move(share) {
  const span = page.view.b - page.view.a;
  go(page.view.a + share * span, page.view.b + share * span, { glide: false });
}

/** Keys that work everywhere, and those of the chart. */
function actions(timeline, inChart, event) {
  const span = page.view.b - page.view.a;
  const around = page.cursor ?? undefined;
  const everywhere = {
    n: () => stepEpisode(1),
    p: () => stepEpisode(-1),
    0: showWhole,
    l: () => timeline.setLogarithmic(!page.logarithmic),
    '?': () => byId('keys').showModal(),
    '+': () => zoom(0.5, around),
    '=': () => zoom(0.5, around),
    '-': () => zoom(2, around),
    Backspace: goBack,
  };
  if (!inChart) return everywhere;
  return {
    ...everywhere,
    ArrowLeft: () => (event.shiftKey ? readOn(-1, timeline) : move(-0.2)),
    ArrowRight: () => (event.shiftKey ? readOn(1, timeline) : move(0.2)),
    Home: () => go(page.t0, page.t0 + span),
    End: () => go(page.t1 - span, page.t1),
    Escape: () => timeline.setCursor(null),
  };
}

export function setUpKeys(timeline) {
  document.addEventListener('keydown', event => {
    const typing = /^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName) && event.target.type !== 'checkbox';
    if (event.ctrlKey || event.metaKey || event.altKey || typing || document.querySelector('dialog[open]')) return;
    const inChart = event.target === byId('stack');
    const onBody = event.target === document.body && event.key.startsWith('Arrow') && /Left|Right/.test(event.key);
    const action = actions(timeline, inChart || onBody, event)[event.key];
    if (!action) return;
    event.preventDefault();
    action();
  });
}
