// The list of incidents: opening, stepping, filtering, following the view.

import { clock, dateTime, zoneName } from './time.mjs';
import { grouped } from './format.mjs';
import { byId, go, isWhole, page } from './state.mjs';
import { say } from './readout.mjs';

const WIDE_ENOUGH = 1100;
const SEVERITIES = ['pass', 'info', 'warn', 'fail'];
let current = null;
let all = '';

export function readEpisodes() {
  return [...document.querySelectorAll('.incident')].map((item, i) => ({
    item,
    number: i + 1,
    id: item.id,
    a: Number(item.dataset.a),
    b: Number(item.dataset.b),
    severity: Math.max(0, SEVERITIES.findIndex(name => item.classList.contains(name))),
    title: item.querySelector('b').textContent,
    hidden: false,
  }));
}

const list = () => document.querySelector('#incidents > ol');

/** Height of a day's heading, which stays above its incidents. */
const HEADING = 30;

function bringIntoList(item, share) {
  const inner = item.getBoundingClientRect();
  const outer = list().getBoundingClientRect();
  const isSeen = inner.top >= outer.top + HEADING && inner.bottom <= outer.bottom;
  if (!isSeen) list().scrollTop += inner.top - outer.top - outer.height * share;
}

/** Opens an incident and goes to it. */
export function openEpisode(episode, { scroll = true } = {}) {
  current = episode;
  for (const other of page.episodes) {
    other.item.classList.toggle('open', other === episode);
    other.item.querySelector('a').setAttribute('aria-expanded', String(other === episode));
  }
  const margin = Math.max(12, Math.min((episode.b - episode.a) * 0.2, 3600));
  page.cursor = null;
  go(episode.a - margin, episode.b + margin);
  if (scroll) bringIntoList(episode.item, 0.33);
  say(`Incident ${episode.number}: ${episode.title}, ${dateTime(episode.a)} ${zoneName(episode.a)}`);
}

export const currentEpisode = () => current;

/** Opens the next (1) or the previous (-1) incident that isn't filtered away. */
export function stepEpisode(way) {
  const shown = page.episodes.filter(episode => !episode.hidden);
  if (!shown.length) return;
  let next;
  if (current && !current.hidden) {
    next = shown.indexOf(current) + way;
  } else if (isWhole()) {
    next = way > 0 ? 0 : shown.length - 1;
  } else {
    const middle = (page.view.a + page.view.b) / 2;
    const later = shown.findIndex(episode => episode.a > middle);
    next = way > 0 ? later : (later < 0 ? shown.length : later) - 1;
  }
  openEpisode(shown[(next + shown.length) % shown.length]);
}

/** Goes to a moment: to its incident where it has a short one. */
export function goToMoment(t) {
  const episode = page.episodes.find(e => t >= e.a - 3 && t <= e.b + 3 && e.b - e.a < 600);
  if (episode) openEpisode(episode);
  else go(t - 60, t + 60);
  byId('h-time').scrollIntoView({ block: 'start' });
}

/** Marks the incidents in view and brings the first of them into the list. */
export function followView() {
  let first = null;
  for (const episode of page.episodes) {
    const seen = !isWhole() && episode.b >= page.view.a && episode.a <= page.view.b;
    episode.item.classList.toggle('seen', seen);
    if (seen && !first && !episode.hidden) first = episode;
  }
  const busy = list().matches(':hover') || list().contains(document.activeElement);
  if (first && !busy) bringIntoList(first.item, 0.1);
}

/** Times of the list, of tables and of links in the chosen zone; they are UTC as the page is written. */
export function renewTimes() {
  for (const mark of document.querySelectorAll('time[data-t]')) {
    const t = Number(mark.dataset.t);
    if (!mark.dataset.t || Number.isNaN(t)) continue;
    mark.textContent = mark.dataset.form === 'clock' ? clock(t) : dateTime(t);
    mark.title = zoneName(t);
  }
}

function applyFilter(redraw) {
  const wanted = { info: byId('f-info').checked, warn: byId('f-warn').checked, fail: byId('f-fail').checked };
  const words = byId('find').value.trim().toLowerCase();
  let shown = 0;
  for (const episode of page.episodes) {
    const ofKind = wanted[SEVERITIES[episode.severity]] ?? wanted.info;
    episode.hidden = !ofKind || (words !== '' && !episode.item.textContent.toLowerCase().includes(words));
    episode.item.hidden = episode.hidden;
    if (!episode.hidden) shown++;
  }
  byId('shown').textContent = shown === page.episodes.length ? all : `${grouped(shown)} of ${all}`;
  redraw();
}

export function setUpEpisodes(redraw) {
  all = byId('shown').textContent;
  for (const episode of page.episodes) {
    const link = episode.item.querySelector('a');
    link.setAttribute('aria-expanded', 'false');
    link.addEventListener('click', event => {
      event.preventDefault();
      openEpisode(episode, { scroll: false });
      if (window.innerWidth <= WIDE_ENOUGH) byId('h-time').scrollIntoView();
    });
  }
  for (const link of document.querySelectorAll('a[data-t], a.to')) {
    link.addEventListener('click', event => {
      const episode = page.episodes.find(e => `#${e.id}` === link.getAttribute('href'));
      if (link.dataset.t) goToMoment(Number(link.dataset.t));
      else if (episode) openEpisode(episode);
      else return;
      event.preventDefault();
      byId('h-time').scrollIntoView({ block: 'start' });
    });
  }
  for (const name of ['f-info', 'f-warn', 'f-fail', 'find']) {
    byId(name).addEventListener('input', () => applyFilter(redraw));
  }
}
