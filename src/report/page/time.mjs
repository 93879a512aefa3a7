// Moments as texts in one of three time zones. Time is seconds since 1970-01-01 UTC everywhere.

import { two } from './format.mjs';

const DAYS = ['Sun', 'Mon', 'Tue', 'Wed', 'Thu', 'Fri', 'Sat'];
const MONTHS = ['Jan', 'Feb', 'Mar', 'Apr', 'May', 'Jun', 'Jul', 'Aug', 'Sep', 'Oct', 'Nov', 'Dec'];
const STEPS = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200,
  86400, 172800, 604800, 1209600, 2592000];

const zone = { name: 'utc', recorder: [[0, 0]] };

/** 'utc', 'rec' (the recorder's) or 'here' (this computer's). */
export function setZone(name) {
  zone.name = name;
}

export const zoneChoice = () => zone.name;

/** pairs: [moment, offset in seconds from then on] of the recorder's zone, in rising order. */
export function setRecorderZone(pairs) {
  if (pairs && pairs.length) zone.recorder = pairs;
}

/** Seconds that the chosen zone is ahead of UTC. */
export function offsetAt(t) {
  if (zone.name === 'utc') return 0;
  if (zone.name === 'here') return -new Date(t * 1000).getTimezoneOffset() * 60;
  let offset = zone.recorder[0][1];
  for (const [from, value] of zone.recorder) if (t >= from) offset = value;
  return offset;
}

const local = t => new Date((Math.floor(t) + offsetAt(t)) * 1000);

export function clock(t, withSeconds = true) {
  const d = local(t);
  return `${two(d.getUTCHours())}:${two(d.getUTCMinutes())}${withSeconds ? `:${two(d.getUTCSeconds())}` : ''}`;
}

export function day(t) {
  const d = local(t);
  return `${DAYS[d.getUTCDay()]} ${d.getUTCDate()} ${MONTHS[d.getUTCMonth()]}`;
}

export function dateTime(t) {
  const d = local(t);
  return `${d.getUTCFullYear()}-${two(d.getUTCMonth() + 1)}-${two(d.getUTCDate())} ${clock(t)}`;
}

export function zoneName(t) {
  const offset = offsetAt(t);
  if (offset === 0) return 'UTC';
  const size = Math.abs(offset);
  return `UTC${offset < 0 ? '−' : '+'}${two(Math.floor(size / 3600))}:${two(Math.floor(size % 3600 / 60))}`;
}

/** "Mon 29 Mar 01:59:30 – 03:00:30 UTC+01:00 / +02:00"; with the years where they differ. */
export function timeRange(a, b) {
  const zones = zoneName(a) === zoneName(b) ? zoneName(a) : `${zoneName(a)} / ${zoneName(b).replace('UTC', '')}`;
  const [from, to] = [a, b].map(t => local(t).getUTCFullYear());
  if (from !== to) return `${day(a)} ${from} ${clock(a)} – ${day(b)} ${to} ${clock(b)} ${zones}`;
  if (b - a <= 1.01) return `${day(a)} ${clock(a)} ${zones}`;
  return `${day(a)} ${clock(a)} – ${day(a) === day(b) ? '' : `${day(b)} `}${clock(b)} ${zones}`;
}

/** Round moments of the chosen zone from a to b, at most one in 92 of width pixels; right over a change of clocks. */
export function timeTicks(a, b, width) {
  const least = (b - a) / Math.max(2, width / 92);
  const step = STEPS.find(s => s >= least) || STEPS[STEPS.length - 1];
  const ticks = [];
  let t = a;
  for (let guard = 0; guard < 400; guard++) {
    const offset = offsetAt(t);
    const round = o => Math.ceil((t + o) / step - 1e-9) * step - o;
    let tick = round(offset);
    if (offsetAt(tick) !== offset) tick = round(offsetAt(tick));
    if (tick > b) break;
    if (!ticks.length || tick > ticks[ticks.length - 1]) ticks.push(tick);
    t = Math.max(tick, t) + 1;
  }
  return { step, ticks };
}

export const isMidnight = t => (t + offsetAt(t)) % 86400 === 0;
