// Lanes of states: the card, the genlock, each SFP with its link and its master, and the flags of the incidents.

import { LOCKED, stateCode, stateName } from './runs.mjs';
import { hatch } from './pens.mjs';
import { page } from './state.mjs';

const MASTER_COLOURS = 6;

/** Prepares a lane: its runs in view as {x, end, value}, and the least width that still shows. */
function laneRuns(runs, frame) {
  const list = [];
  for (const run of runs.within(frame.view.a, frame.view.b)) {
    list.push({ x: frame.x(run.a), end: frame.x(run.b), value: run.value });
  }
  return { list, least: list.length > 150 ? 1.2 : 2 };
}

/** Draws the usual state first and what is not usual over it, so that a second of it stays visible in a month. */
function drawLane(pen, frame, row, runs, isUsual, paint) {
  const { list, least } = laneRuns(runs, frame);
  pen.clip(frame.left, row.y, frame.width, row.h, () => {
    for (const usual of [true, false]) {
      for (const { x, end, value } of list) {
        if (isUsual(value) === usual) paint(x, end, value, Math.max(usual ? 0 : least, end - x));
      }
    }
  });
}

function laneLabel(pen, frame, row) {
  if (row.label) {
    const size = frame.left < 60 ? 9.5 : row.h < 14 ? 10 : 11;
    pen.text(frame.left - 8, row.y + row.h / 2, row.label, pen.colour.dim, { align: 'right', size });
  }
}

function labelRun(pen, x, end, y, words, fill, size = 10.5) {
  if (end - x > pen.width(words, size) + 8) pen.text(x + 5, y, words, fill, { size });
}

/** A label on a hatched run, on a plate of its own. */
function labelPlate(pen, x, row, width, words) {
  const wide = pen.width(words, 10.5);
  if (width <= wide + 14) return;
  pen.rect(x + 4, row.y + 2, wide + 8, row.h - 4, pen.colour.card, 0.85);
  pen.text(x + 8, row.y + row.h / 2, words, pen.colour.ink, { size: 10.5 });
}

function paintState(pen, row, code, x, end, width) {
  const { colour: c } = pen;
  const { y, h } = row;
  if (code === LOCKED) {
    pen.rect(x, y, width, h, c.locked);
    labelRun(pen, x, end, y + h / 2, 'locked', c.dim);
    return;
  }
  const solid = code > 0 && code < 8;
  if (solid) {
    pen.rect(x, y, width, h, c.listen);
    if (width > pen.width(stateName(code), 10.5) + 14) {
      pen.text(x + 8, y + h / 2, stateName(code), c.card, { size: 10.5 });
    }
    return;
  }
  if (code === 9 || code === 8) {
    pen.rect(x, y, width, h, code === 9 ? c.unlocked : c.uncal);
    if (width > 6) hatch(pen, x, y, width, h, c.card, 6, code === 9 ? 1 : -1, 1.2);
  } else {
    pen.rect(x, y + 1, width, h - 2, c.nodata);
    hatch(pen, x, y + 1, width, h - 2, c.dim, 5, 1);
  }
  labelPlate(pen, x, row, width, stateName(code));
}

export function drawCard(pen, frame, row) {
  const { names } = page.meta;
  laneLabel(pen, frame, row);
  const main = { y: row.y, h: row.h - 4 };
  drawLane(pen, frame, row, page.runs.card, value => names[value] === 'follower locked',
    (x, end, value, width) => paintState(pen, main, stateCode(names[value]), x, end, width));
  const { colour: c } = pen;
  const colours = { 'SFP A': c.a, 'SFP B': c.b };
  drawLane(pen, frame, row, page.runs.best, () => true,
    (x, end, value) => pen.rect(x, row.y + row.h - 3, end - x, 3, colours[names[value]] || c.dim));
}

export function drawGenlock(pen, frame, row) {
  const { names } = page.meta;
  const { colour: c } = pen;
  laneLabel(pen, frame, row);
  drawLane(pen, frame, row, page.runs.genlock, value => names[value] === 'locked', (x, end, value, width) => {
    const locked = names[value] === 'locked';
    pen.rect(x, row.y, width, row.h, locked ? c.locked : c.unlocked);
    if (locked || width <= 6) return;
    hatch(pen, x, row.y, width, row.h, c.card, 6, 1, 1.2);
    labelPlate(pen, x, row, width, names[value]);
  });
  drawLane(pen, frame, row, page.runs.source, () => true, (x, end, value) => {
    if (x > frame.left + 1) pen.line(x, row.y, x, row.y + row.h, c.ink, 1.5);
    labelRun(pen, x, end, row.y + row.h / 2, names[value], c.ink);
  });
}

export function drawState(pen, frame, row) {
  laneLabel(pen, frame, row);
  drawLane(pen, frame, row, page.runs[`state${row.sfp}`], value => value === LOCKED,
    (x, end, value, width) => paintState(pen, row, value, x, end, width));
  const isUp = value => page.meta.names[value] === 'link up';
  drawLane(pen, frame, row, page.runs[`link${row.sfp}`], isUp, (x, end, value, width) => {
    if (isUp(value)) return;
    pen.rect(x, row.y + row.h - 4, width, 4, pen.colour.card);
    pen.rect(x, row.y + row.h - 3, width, 3, pen.colour.fail);
  });
}

/** One colour for each grandmaster; a notch where the same one announces something else. */
export function drawMaster(pen, frame, row) {
  laneLabel(pen, frame, row);
  let before = { id: '', end: 0 };
  const { masters } = page.meta;
  drawLane(pen, frame, row, page.runs[`master${row.sfp}`], value => value > 0, (x, end, value, width) => {
    if (value === 0) {
      hatch(pen, x, row.y + 1, width, row.h - 2, pen.colour.dim, 5, 1);
      return;
    }
    const { id, colour } = masters[value];
    pen.rect(x, row.y, Math.max(1.5, width), row.h, pen.colour[`m${colour % MASTER_COLOURS}`]);
    if (id === before.id && x === before.end) pen.rect(x - 1, row.y, 2, row.h, pen.colour.ink);
    before = { id, end };
    labelRun(pen, x, end, row.y + row.h / 2, id, pen.colour.ink, 9.5);
  });
}

/** Shapes of the severities: nothing, information, warning, failure. */
function flagShape(severity, x, y, w) {
  const half = w / 2;
  if (severity === 3) return [[x - half, y], [x + half, y], [x + half, y + 18], [x - half, y + 18]];
  if (severity === 2) {
    return [[x - half, y + 9], [x - half + 4, y], [x + half - 4, y], [x + half, y + 9], [x + half - 4, y + 18],
      [x - half + 4, y + 18]];
  }
  return [[x - half + 3, y + 1], [x + half - 3, y + 1], [x + half - 3, y + 17], [x - half + 3, y + 17]];
}

/** Numbered flags; those that would overlap become one with their count. Gives where they can be hit. */
export function drawFlags(pen, frame, row) {
  const { colour: c } = pen;
  if (row.label) pen.text(frame.left - 8, row.y + row.h - 12, row.label, c.dim, { align: 'right' });
  const groups = [];
  const shown = page.episodes.filter(e => !e.hidden && e.b >= frame.view.a && e.a <= frame.view.b);
  const apart = shown.length > 40 ? pen.width('×00', 11, 650) + 11 : 20;
  const placeOf = x => Math.max(frame.left + apart / 2, Math.min(frame.right - apart / 2, x));
  for (const episode of shown) {
    const x = Math.max(frame.left, Math.min(frame.right, frame.x(Math.max(episode.a, frame.view.a))));
    const last = groups[groups.length - 1];
    if (last && placeOf(x) - placeOf(last.x) < apart) {
      last.list.push(episode);
      last.severity = Math.max(last.severity, episode.severity);
    } else {
      groups.push({ x, list: [episode], severity: episode.severity });
    }
  }
  return groups.map(group => {
    const stroke = [c.info, c.info, c.warn, c.fail][group.severity];
    const fill = [c.infobg, c.infobg, c.warnbg, c.failbg][group.severity];
    const words = group.list.length === 1 ? String(group.list[0].number) : `×${group.list.length}`;
    const w = Math.max(18, pen.width(words, 11, 650) + 8);
    const x = Math.max(frame.left + w / 2, Math.min(frame.right - w / 2, group.x));
    const top = row.y + row.h - 38;
    pen.line(group.x, top + 18, group.x, row.y + row.h, stroke, 1.2);
    pen.shape(flagShape(group.severity, x, top, w), fill, 1, stroke);
    pen.text(x, top + 9.5, words, stroke, { align: 'center', weight: 650 });
    return { x: x - w / 2, y: top, w, h: row.h, list: group.list };
  });
}
