// The figures at the cursor, or of all that is in view, at a fixed place; spoken on request.

import { LOCKED, stateName } from './runs.mjs';
import { clock, timeRange } from './time.mjs';
import { duration, grouped, nanoseconds, percent } from './format.mjs';
import { Columns, fold } from './fold.mjs';
import { SFP_NAMES, missingShare } from './panels.mjs';
import { isSmall } from './layout.mjs';
import { byId, page } from './state.mjs';

const WIDE = [['state', 'state'], ['master', 'grandmaster'], ['low', 'offset least'], ['average', 'average'],
  ['high', 'greatest'], ['deviation', 'sd'], ['pathLow', 'path least'], ['pathAverage', 'average'],
  ['pathHigh', 'greatest'], ['sync', 'Sync'], ['resp', 'Delay_Resp']];
const NARROW = [['state', 'state'], ['low', 'offset least'], ['average', 'average'], ['high', 'greatest'],
  ['pathAverage', 'path average'], ['syncMissing', 'Sync missing']];
/** Pixels below which not all columns fit, and below which only the most wanted do. */
const ALL_FIT = 860;
const MOST_FIT = 790;
const LEAST_WANTED = ['master', 'deviation', 'pathHigh'];
const LEFT_ALIGNED = ['state', 'master'];

let figures = { title: '', sfps: [] };

/** What the table shows, as texts: {title, sfps: [SFP A, SFP B, their difference; null where there is none]}. */
export const shownFigures = () => figures;

/** The span that the cursor reads: a column, or a whole bucket where that is wider. Null without a cursor. */
export function cursorSpan(frame) {
  if (page.cursor === null || !frame) return null;
  const { a, b } = page.view;
  const per = (b - a) / frame.count;
  const c = Math.min(frame.count - 1, Math.max(0, Math.floor((page.cursor - a) / per)));
  const usual = Object.values(frame.folded).filter(columns => !columns.isSide);
  const step = Math.max(0, ...usual.map(columns => columns.step[c]));
  if (step >= per) {
    const from = page.meta.base + Math.floor((page.cursor - page.meta.base) / step) * step;
    return { a: from, b: from + step, column: c, step };
  }
  return { a: a + c * per, b: a + (c + 1) * per, column: c, step };
}

/** Adds columns up; the averages weigh by messages. */
export function total(columns, from = 0, to = columns.count) {
  const sum = new Columns(1, columns.per * (to - from), columns.counts);
  for (let c = from; c < to; c++) {
    for (const name of columns.counts) sum[name][0] += columns[name][c];
    if (!columns.measured(c)) continue;
    sum.low[0] = Math.min(sum.low[0], columns.low[c]);
    sum.high[0] = Math.max(sum.high[0], columns.high[c]);
    const weight = columns.weight[c];
    const average = columns.average(c);
    if (sum.weight[0] === 0) sum.shift[0] = average;
    const distance = average - sum.shift[0];
    sum.weight[0] += weight;
    sum.sum[0] += weight * distance;
    sum.squares[0] += weight * (columns.deviation(c) ** 2 + distance * distance);
  }
  return sum;
}

function stateText(sfp, a, b) {
  const runs = page.runs[`state${sfp}`];
  const states = runs.valuesWithin(a, b);
  if (states.length <= 1) return states.length ? stateName(states[0]) : '–';
  return `locked ${percent(runs.share(value => value === LOCKED, a, b))}`;
}

function masterText(sfp, a, b) {
  const seen = page.runs[`master${sfp}`].valuesWithin(a, b).filter(value => value > 0);
  const ids = [...new Set(seen.map(value => page.meta.masters[value].short))];
  return ids.length ? ids[0] + (ids.length > 1 ? ` and ${ids.length - 1}` : '') : '–';
}

/** Received and due; of millions, the share that is missing. */
function messagesText(got, due) {
  if (!(due > 0)) return '–';
  if (due > 2e6) return `${percent(missingShare(due, got))} missing`;
  return `${grouped(Math.round(got))} / ${grouped(Math.round(due))}`;
}

function sfpFigures(sfp, span, read) {
  const offset = read(sfp, 'off');
  const path = read(sfp, 'path');
  return {
    state: stateText(sfp, span.a, span.b),
    master: masterText(sfp, span.a, span.b),
    low: nanoseconds(offset.low[0]),
    average: nanoseconds(offset.average(0), 1),
    high: nanoseconds(offset.high[0]),
    deviation: nanoseconds(offset.deviation(0), 1),
    pathLow: nanoseconds(path.low[0]),
    pathAverage: nanoseconds(path.average(0), 1),
    pathHigh: nanoseconds(path.high[0]),
    sync: messagesText(offset.syncs[0], offset.syncsDue[0]),
    syncMissing: percent(missingShare(offset.syncsDue[0], offset.syncs[0])),
    resp: messagesText(offset.resps[0], offset.respsDue[0]),
    respMissing: percent(missingShare(offset.respsDue[0], offset.resps[0])),
  };
}

/** Of the seconds' average offsets, which have no spread of their own. */
function differenceFigures(read) {
  const columns = read(2, 'ab');
  const text = value => nanoseconds(value, 1);
  return { low: text(columns.low[0]), average: text(columns.average(0)), high: text(columns.high[0]) };
}

/** The card and the genlock in words. */
function cardText(span) {
  const { names } = page.meta;
  const texts = runs => runs.valuesWithin(span.a, span.b).map(value => names[value]);
  const locked = (runs, name) => `locked ${percent(runs.share(value => names[value] === name, span.a, span.b))}`;
  const card = texts(page.runs.card);
  const genlock = texts(page.runs.genlock);
  const best = texts(page.runs.best);
  const source = texts(page.runs.source);
  const parts = [duration(Math.max(1, span.b - span.a))];
  if (card.length) {
    const state = card.length > 1 ? locked(page.runs.card, 'follower locked') : card[0];
    parts.push(`card ${state}${best.length ? ` through ${best.join(', ')}` : ''}`);
  }
  if (genlock.length) {
    const state = genlock.length > 1 ? locked(page.runs.genlock, 'locked') : genlock[0];
    const settings = source.length > 2 ? `${source.length} settings` : source.join('; ');
    parts.push(`genlock ${state}${settings ? ` (${settings})` : ''}`);
  }
  return parts.join(' · ');
}

const element = (name, words, attributes = {}) => {
  const made = document.createElement(name);
  if (words !== undefined) made.textContent = words;
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  return made;
};

const alignment = name => (LEFT_ALIGNED.includes(name) ? { class: 'l' } : {});

function sfpHead(sfp, scope) {
  const head = element('th', undefined, { scope });
  head.append(element('i', undefined, { class: `key k${sfp}` }), SFP_NAMES[sfp]);
  return head;
}

/** Where there isn't room for all, messages are told by the share that is missing. */
function columnsFor(width) {
  if (width >= ALL_FIT) return WIDE;
  const columns = [...WIDE.filter(([name]) => name !== 'sync' && name !== 'resp'),
    ['syncMissing', 'Sync missing'], ['respMissing', 'Resp missing']];
  return width >= MOST_FIT ? columns : columns.filter(([name]) => !LEAST_WANTED.includes(name));
}

function wideTable(shown, columns) {
  const head = element('tr');
  head.append(element('td'));
  for (const [name, words] of columns) {
    head.append(element('th', words, { scope: 'col', ...alignment(name) }));
  }
  const rows = shown.map(sfp => {
    const row = element('tr');
    row.append(sfpHead(sfp, 'row'));
    for (const [name] of columns) {
      row.append(element('td', figures.sfps[sfp][name] ?? '', { 'data-c': name, ...alignment(name) }));
    }
    return row;
  });
  return [head, rows];
}

function narrowTable(shown) {
  const head = element('tr');
  head.append(element('td'), ...shown.map(sfp => sfpHead(sfp, 'col')));
  const rows = NARROW.map(([name, words]) => {
    const row = element('tr');
    row.append(element('th', words, { scope: 'row', class: 'l' }));
    for (const sfp of shown) row.append(element('td', figures.sfps[sfp][name] ?? '', { 'data-c': name }));
    return row;
  });
  return [head, rows];
}

/** Fills the table from the frame that was drawn last. */
export function drawReadout(frame) {
  const cursor = cursorSpan(frame);
  const span = cursor || { a: Math.max(page.view.a, page.t0), b: Math.min(page.view.b, page.t1) };
  const wide = cursor && cursor.step >= (page.view.b - page.view.a) / frame.count;
  const read = (sfp, quantity) => {
    if (wide) return fold(page.store, sfp, quantity, span.a, span.b, 1);
    const columns = frame.columns(sfp, quantity);
    return cursor ? total(columns, cursor.column, cursor.column + 1) : total(columns);
  };
  const shown = [0, 1].filter(sfp => page.hasSfp[sfp]);
  const sfps = [null, null, null];
  for (const sfp of shown) sfps[sfp] = sfpFigures(sfp, span, read);
  const width = byId('stack').clientWidth;
  if (shown.length === 2) {
    sfps[2] = differenceFigures(read);
    shown.push(2);
  }
  figures = { title: (cursor ? '' : 'In view: ') + timeRange(span.a, span.b), sfps };

  const table = element('table');
  const caption = element('caption', `${figures.title} `);
  caption.append(element('small', cardText(span)));
  const [head, rows] = isSmall(width) ? narrowTable(shown) : wideTable(shown, columnsFor(width));
  const headPart = element('thead');
  headPart.append(head);
  const body = element('tbody');
  body.append(...rows);
  table.append(caption, headPart, body);
  byId('readout').replaceChildren(table);
}

export function placeCursor(frame) {
  const mark = byId('cursor');
  const hidden = page.cursor === null || page.cursor < page.view.a || page.cursor > page.view.b || !frame;
  mark.style.display = hidden ? 'none' : 'block';
  if (hidden) return;
  mark.style.left = `${frame.x(page.cursor)}px`;
  mark.firstElementChild.textContent = clock(page.cursor);
}

/** Says something to a screen reader. */
export function say(words) {
  byId('say').textContent = words;
}

export function sayFigures() {
  const parts = [0, 1].filter(sfp => figures.sfps[sfp]).map(sfp => {
    const f = figures.sfps[sfp];
    return `SFP ${'AB'[sfp]} ${f.state}, offset ${f.low} to ${f.high}`;
  });
  say(`${figures.title}. ${parts.join('. ')}`);
}
