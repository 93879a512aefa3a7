// The heat map: the worst offset of every minute of a day, or of every ten minutes of many.

import { LOCKED } from './runs.mjs';
import { ScreenPen, hatch } from './pens.mjs';
import { axisNanoseconds, nanoseconds, two } from './format.mjs';
import { clock, day, offsetAt } from './time.mjs';
import { isDark } from './theme.mjs';
import { byId, go, page } from './state.mjs';

const LEFT = 74;
const TOP = 16;
const SECONDS_A_DAY = 86400;
// From little to much; rising evenly in lightness, so that they read without colour.
const LIGHT_STOPS = [[233, 239, 245], [182, 206, 228], [104, 150, 190], [52, 88, 138], [20, 24, 60]];
const DARK_STOPS = [[0, 32, 76], [61, 78, 107], [124, 123, 120], [187, 175, 113], [255, 234, 70]];

const heat = { sfp: 0, grid: null };

export function shade(share, stops) {
  const place = Math.max(0, Math.min(0.9999, share)) * (stops.length - 1);
  const i = Math.floor(place);
  const part = stops[i].map((value, j) => Math.round(value + (stops[i + 1][j] - value) * (place - i)));
  return `rgb(${part.join(',')})`;
}

/** Rows of an hour of minutes, or of a day of ten minutes, in the chosen zone. */
function gridOf(sfp) {
  const long = page.t1 - page.t0 > SECONDS_A_DAY * 1.5;
  const cell = long ? 600 : 60;
  const perRow = long ? 144 : 60;
  const span = cell * perRow;
  const first = Math.floor((page.t0 + offsetAt(page.t0)) / span);
  const rows = Math.floor((page.t1 - 1 + offsetAt(page.t1)) / span) - first + 1;
  const count = rows * perRow;
  const grid = { long, cell, perRow, first, rows, sfp,
    worst: new Float64Array(count).fill(NaN), unlocked: new Uint8Array(count), records: new Uint8Array(count) };
  grid.index = t => Math.floor((t + offsetAt(t)) / cell) - first * perRow;
  fillFigures(grid);
  fillStates(grid);
  grid.shown = rowsToShow(grid);
  return grid;
}

/** The rows that have a record, or one beside: where nothing was recorded for long, nothing is drawn for long. */
function rowsToShow(grid) {
  const has = new Array(grid.rows).fill(false);
  grid.records.forEach((record, i) => {
    if (record) has[Math.floor(i / grid.perRow)] = true;
  });
  return [...has.keys()].filter(row => has[row] || has[row - 1] || has[row + 1]);
}

function fillFigures(grid) {
  const { whole, base } = page.store;
  for (const segment of page.store.segments(whole, page.t0, page.t1)) {
    const planes = segment.chunk.planes[grid.sfp];
    for (let n = 0; n < segment.count; n++) {
      const i = segment.at + n;
      const at = grid.index(base + (segment.first + n) * whole.width);
      if (!(planes.records[i] > 0) || at < 0 || at >= grid.worst.length) continue;
      grid.records[at] = 1;
      const value = Math.max(-planes.off.low[i], planes.off.high[i]);
      if (!Number.isNaN(value) && !(value <= grid.worst[at])) grid.worst[at] = value;
    }
  }
}

function fillStates(grid) {
  for (const run of page.runs[`state${grid.sfp}`].within(page.t0, page.t1)) {
    if (run.value === LOCKED) continue;
    const last = grid.index(run.b - 1);
    for (let i = Math.max(0, grid.index(run.a)); i <= last && i < grid.unlocked.length; i++) grid.unlocked[i] = 1;
  }
}

/** From the usual to the worst, both as logarithms. */
function colourRange(grid) {
  const sorted = [...grid.worst].filter(value => !Number.isNaN(value)).sort((x, y) => x - y);
  const at = share => sorted[Math.floor(sorted.length * share)] || 0;
  const greatest = sorted[sorted.length - 1] || 100;
  const low = Math.log(Math.max(10, at(0.02)));
  const cap = Math.max(page.meta.limits.offsetFail * 10, at(0.5) * 30);
  return { low, high: Math.max(low + 1.5, Math.log(Math.min(greatest, cap))), greatest };
}

function diamond(pen, x, y, size, stroke) {
  pen.shape([[x, y - size], [x + size, y], [x, y + size], [x - size, y]], pen.colour.uncal, 1, stroke);
}

function drawCell(pen, grid, i, [x, y, width, height], { range, stops }) {
  const value = grid.worst[i];
  const space = width > 4 ? 0.6 : 0;
  const t = (grid.first * grid.perRow + i) * grid.cell;
  if (!Number.isNaN(value)) {
    const share = (Math.log(Math.max(value, 1)) - range.low) / (range.high - range.low);
    pen.rect(x, y, width - space, height - space, shade(share, stops));
  } else if (grid.records[i]) {
    pen.rect(x, y, width - space, height - space, pen.colour.listen);
  } else if (t + grid.cell > page.t0 + offsetAt(page.t0) && t < page.t1 + offsetAt(page.t1)) {
    hatch(pen, x, y, width - space, height - space, pen.colour.dim, 4, 1, 0.7);
  }
  if (grid.unlocked[i] && grid.records[i]) {
    const size = Math.min(3.4, height * 0.4, width * 0.45) + 0.6;
    diamond(pen, x + width / 2, y + height / 2, size, width > 3 ? pen.colour.card : null);
  }
}

function drawCells(pen, grid, { width, height }, look) {
  grid.shown.forEach((row, n) => {
    for (let i = 0; i < grid.perRow; i++) {
      drawCell(pen, grid, row * grid.perRow + i, [LEFT + i * width, TOP + n * height, width, height], look);
    }
  });
}

function drawNames(pen, grid, place) {
  const { dim } = pen.colour;
  for (let n = 0; n < grid.shown.length; n += place.height < 11 ? 2 : 1) {
    const row = grid.shown[n];
    const date = new Date((grid.first + row) * grid.cell * grid.perRow * 1000);
    const t = date.getTime() / 1000;
    const name = day(t - offsetAt(t));
    const hours = date.getUTCHours();
    const words = grid.long ? name : `${hours === 0 || n === 0 ? `${name.slice(0, 3)} ` : ''}${two(hours)}:00`;
    pen.text(LEFT - 6, TOP + (n + 0.5) * place.height, words, dim, { align: 'right', size: 10 });
  }
  const narrow = place.width * grid.perRow < 420;
  const every = (grid.long ? 18 : 10) * (narrow ? 2 : 1);
  for (let i = 0; i < grid.perRow; i += every) {
    pen.text(LEFT + i * place.width, 8, grid.long ? `${two(i / 6)}:00` : `:${two(i)}`, dim, { size: 10 });
  }
}

function drawKey(pen, y, width, range, stops) {
  const { dim, card } = pen.colour;
  const wide = Math.min(220, width * 0.35);
  for (let i = 0; i < 60; i++) pen.rect(LEFT + i * wide / 60, y - 5, wide / 60 + 0.5, 10, shade(i / 59, stops));
  pen.text(LEFT - 6, y, axisNanoseconds(Math.exp(range.low)), dim, { align: 'right', size: 10 });
  const more = Math.exp(range.high) < range.greatest * 0.999 ? ' and more' : '';
  pen.text(LEFT + wide + 6, y, axisNanoseconds(Math.exp(range.high)) + more, dim, { size: 10 });
  const x = LEFT + wide + 120;
  if (x + 90 > width) return;
  diamond(pen, x, y, 4, card);
  pen.text(x + 9, y, 'not always locked', dim, { size: 10 });
}

export function drawHeat() {
  const box = byId('heat');
  const width = box.clientWidth;
  if (!width) return;
  const grid = gridOf(page.hasSfp[heat.sfp] ? heat.sfp : 1 - heat.sfp);
  const place = { width: (width - LEFT - 4) / grid.perRow, height: Math.max(6, Math.min(14, 330 / grid.shown.length)) };
  const bottom = TOP + grid.shown.length * place.height;
  const pen = new ScreenPen(box.querySelector('canvas'), width, bottom + 30);
  const stops = isDark() ? DARK_STOPS : LIGHT_STOPS;
  const range = colourRange(grid);
  drawCells(pen, grid, place, { range, stops });
  drawNames(pen, grid, place);
  drawKey(pen, bottom + 16, width, range, stops);
  byId('heatwho').textContent = `SFP ${'AB'[grid.sfp]}`;
  byId('heatcell').textContent = grid.long ? 'ten minutes' : 'minute';
  heat.grid = { ...grid, ...place };
}

function cellAt(event) {
  const { grid } = heat;
  const place = byId('heat').getBoundingClientRect();
  const x = Math.floor((event.clientX - place.left - LEFT) / grid.width);
  const y = Math.floor((event.clientY - place.top - TOP) / grid.height);
  if (x < 0 || x >= grid.perRow || y < 0 || y >= grid.shown.length) return null;
  const i = grid.shown[y] * grid.perRow + x;
  const t = (grid.first * grid.perRow + i) * grid.cell;
  const { worst, records, unlocked } = grid;
  return { t: t - offsetAt(t - offsetAt(t)), value: worst[i], records: records[i], unlocked: unlocked[i] };
}

function cellText({ value, records, unlocked }) {
  const nothing = records ? 'no Sync message' : 'no record';
  const figure = Number.isNaN(value) ? nothing : `worst ${nanoseconds(value)}`;
  return unlocked ? `${figure}, not always locked` : figure;
}

export function setUpHeat() {
  const box = byId('heat');
  const buttons = [...byId('heatsfp').children];
  for (const button of buttons) {
    button.hidden = !page.hasSfp[button.dataset.k];
    button.onclick = () => {
      heat.sfp = Number(button.dataset.k);
      for (const other of buttons) other.setAttribute('aria-pressed', String(other === button));
      drawHeat();
    };
  }
  box.addEventListener('pointermove', event => {
    const cell = cellAt(event);
    if (!cell) return;
    byId('heatread').textContent = `${day(cell.t)} ${clock(cell.t, false)}: ${cellText(cell)}`;
  });
  box.addEventListener('click', event => {
    const cell = cellAt(event);
    if (!cell) return;
    const { cell: seconds } = heat.grid;
    go(cell.t - seconds * 0.2, cell.t + seconds * 1.2);
    byId('h-time').scrollIntoView();
  });
}
