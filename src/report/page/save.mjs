// What leaves the page: the view as a table or a drawing, the verdict as text, the page on paper.

import { duration } from './format.mjs';
import { stateName } from './runs.mjs';
import { timelineSvg } from './timeline.mjs';
import { dateTime, timeRange, zoneName } from './time.mjs';
import { useScreenColours, usePaperColours } from './theme.mjs';
import { byId, isWhole, page } from './state.mjs';

const ROWS = 4000;
const PAPER_WIDTH = 980;
const COLUMNS = ['utc', 'epoch', 'step_s', 'sfp', 'state',
  'offset_min_ns', 'offset_avg_ns', 'offset_max_ns', 'offset_sd_ns',
  'path_min_ns', 'path_avg_ns', 'path_max_ns', 'sync', 'sync_due', 'delay_resp', 'delay_resp_due'];

function save(name, type, text) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([text], { type }));
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 5000);
}

const number = (value, decimals = 0) => (Number.isNaN(value) ? '' : value.toFixed(decimals));

function csvRow(t, width, sfp, planes, i) {
  const { runs } = page;
  const state = runs[`state${sfp}`];
  const at = state.indexAt(t);
  return [new Date(t * 1000).toISOString().replace('.000', ''), t, width,
    'AB'[sfp], stateName(at < 0 ? -1 : state.values[at]),
    number(planes.off.low[i]), number(planes.off.average[i], 1), number(planes.off.high[i]),
    number(planes.off.deviation[i], 1), number(planes.path.low[i]), number(planes.path.average[i], 1),
    number(planes.path.high[i]), planes.syncs[i], planes.syncsDue[i], planes.resps[i], planes.respsDue[i]].join(',');
}

/** The finest steps of the view that make no more than some thousand rows. */
export function viewCsv() {
  const { store, view } = page;
  const fits = store.levels.filter(level => level.width <= store.whole.width
    && level.width >= (view.b - view.a) / ROWS && store.covers(level, page.t1));
  const level = fits.pop() || store.whole;
  const rows = [COLUMNS.join(',')];
  for (const segment of store.segments(level, view.a, view.b)) {
    for (let n = 0; n < segment.count; n++) {
      const t = store.base + (segment.first + n) * level.width;
      if (t + level.width <= view.a || t >= view.b) continue;
      for (const sfp of [0, 1]) {
        const planes = segment.chunk.planes[sfp];
        if (planes.records[segment.at + n] > 0) rows.push(csvRow(t, level.width, sfp, planes, segment.at + n));
      }
    }
  }
  return `${rows.join('\n')}\n`;
}

function summary() {
  const words = selector => document.querySelector(selector).innerText.trim();
  const lines = [document.title, words('.what p'), words('.sentence'), ''];
  for (const check of document.querySelectorAll('.check')) {
    const part = selector => check.querySelector(selector).textContent.trim();
    lines.push(`${part('.mark')} ${part('.name')}: ${part('.value')} (${part('.detail')})`);
  }
  lines.push('');
  for (const e of page.episodes) {
    lines.push(`${e.number}. ${dateTime(e.a)} ${zoneName(e.a)} ${e.title}, ${duration(e.b - e.a)}`);
  }
  return lines.join('\n').replace(/[\u00a0\u202f]/g, ' ');
}

function toast(words) {
  const note = document.createElement('div');
  note.className = 'toast';
  note.setAttribute('role', 'status');
  note.textContent = words;
  document.body.append(note);
  setTimeout(() => note.remove(), 1800);
}

/** Copies by a hidden field where the browser gives a local file no clipboard. */
function copyBySelection(text) {
  const field = document.createElement('textarea');
  field.value = text;
  document.body.append(field);
  field.select();
  document.execCommand('copy');
  field.remove();
}

async function copySummary() {
  const text = summary();
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    copyBySelection(text);
  }
  toast('Summary copied');
}

function choice(title, act) {
  const button = document.createElement('button');
  button.type = 'button';
  button.textContent = title;
  button.onclick = act;
  return button;
}

/** `drawSmall` draws the small charts with the colours that are set, `drawAll` everything. */
export function setUpSaving(drawSmall, drawAll) {
  const { name } = page.meta;
  byId('more').append(
    choice('Save view as CSV', () => save(`${name}_view.csv`, 'text/csv', viewCsv())),
    choice('Save view as SVG', () => save(`${name}_view.svg`, 'image/svg+xml', timelineSvg(1400))));
  byId('copy').onclick = copySummary;
  window.addEventListener('beforeprint', () => {
    const note = document.createElement('p');
    note.className = 'note';
    note.textContent = `${isWhole() ? 'The whole recording' : 'A part of the recording'}, ${
      timeRange(page.view.a, page.view.b)}. Numbers are those of the incidents below.`;
    byId('print').innerHTML = timelineSvg(PAPER_WIDTH);
    byId('print').prepend(note);
    usePaperColours();
    drawSmall();
  });
  window.addEventListener('afterprint', () => {
    byId('print').replaceChildren();
    useScreenColours();
    drawAll();
  });
}
