// Which rows the timeline has, and where: lanes of states, panels of figures, the axis.

import { COUNTERS } from './fold.mjs';
import { ERROR_LANES, MISSING_LANES } from './panels.mjs';
import { bitRate, eventRate, percent } from './format.mjs';
import { letterScale } from './pens.mjs';
import { page } from './state.mjs';

const LANE = 17;
const MASTER_LANE = 11;
const TITLE_HEIGHT = 20;
const NARROW_BELOW = 640;
const UPWARDS = 'A upwards, B downwards';

const hasSide = () => Boolean(page.store.side);

/** Panels of both SFPs' figures that stand in the wide buckets: name, title. */
const SIDE_PANELS = [
  ['toFollower', 'Delay from master to follower'],
  ['toMaster', 'Delay from follower to master'],
  ['jitter', 'Origin time stamp jitter'],
  ['respDelay', 'Delay_Req to Delay_Resp'],
  ['rx', 'Link, received'],
  ['tx', 'Link, sent'],
];

/** Panels that can be chosen: name, title, whether the data has it. */
export const CHOICES = [
  ['offset0', 'Offset, SFP A', () => page.hasSfp[0]],
  ['offset1', 'Offset, SFP B', () => page.hasSfp[1]],
  ['ab', 'Difference A − B', () => page.hasSfp[0] && page.hasSfp[1]],
  ['path', 'Mean path delay', () => true],
  ['missing', 'Messages missing', () => true],
  ...SIDE_PANELS.map(([name, title]) => [name, title, hasSide]),
  ['errors', 'Dropped, errors, discarded', hasSide],
];

export const isSmall = width => width < NARROW_BELOW;

/** Rows one below the other. */
class Rows {
  constructor() {
    this.rows = [];
    this.height = 0;
  }

  add(kind, h, gap, more = {}) {
    this.rows.push({ kind, y: this.height, h, ...more });
    this.height += h + gap;
  }
}

function addLanes(rows, sfps, small) {
  const { runs } = page;
  const lane = LANE * letterScale();
  rows.add('flags', small ? 40 : 42, 2, { label: small ? '' : 'Incidents' });
  if (runs.card.length) rows.add('card', lane, 3, { label: 'Card' });
  if (runs.genlock.length) rows.add('genlock', lane, 3, { label: 'Genlock' });
  for (const sfp of sfps) {
    rows.add('state', lane, 1, { label: `SFP ${'AB'[sfp]}`, sfp });
    rows.add('master', MASTER_LANE * letterScale(), 5, { label: small ? 'GM' : `Master ${'AB'[sfp]}`, sfp });
  }
}

/** Panels of least to greatest; `height` is that of the offset's. */
function addBands(rows, sfps, small, height) {
  const { meta: { limits }, panels } = page;
  const add = (share, more) => rows.add('band', Math.round(height * share), 6, { head: TITLE_HEIGHT, ...more });
  for (const sfp of sfps) {
    if (!panels[`offset${sfp}`]) continue;
    add(1, { quantity: 'off', sfps: [sfp], title: `Offset from master, SFP ${'AB'[sfp]}`,
      spread: true, least: 30, limits: [limits.offsetWarn, limits.offsetFail] });
  }
  if (panels.ab && sfps.length === 2) {
    add(0.8, { quantity: 'ab', sfps: [2], least: 30, limits: [limits.abWarn, limits.abFail],
      title: small ? 'A − B, average offset' : 'Difference of the SFPs’ average offset, A − B, same grandmaster' });
  }
  for (const sfp of panels.path ? sfps : []) {
    add(0.69, { quantity: 'path', sfps: [sfp], title: `Mean path delay, SFP ${'AB'[sfp]}`, linear: true });
  }
  for (const [name, title] of hasSide() ? SIDE_PANELS : []) {
    if (!panels[name]) continue;
    const text = name === 'rx' || name === 'tx' ? bitRate : null;
    add(0.8, { quantity: name, sfps, title: `${title}: A blue, B orange`, linear: name !== 'jitter', text });
  }
}

/** Panels with a lane of bars for each kind of what went wrong. */
function addBars(rows, sfps, small) {
  const { panels } = page;
  const lane = small ? 20 : 24;
  const add = (lanes, title, more) => rows.add('bars', TITLE_HEIGHT + lanes.length * lane, 6,
    { head: TITLE_HEIGHT, sfps, lanes, title: small ? title : `${title}: ${UPWARDS}`, ...more });
  if (panels.missing) {
    const lanes = MISSING_LANES.filter(([, quantity]) => quantity !== COUNTERS || hasSide());
    add(lanes, 'Messages missing', { least: 0.005, text: percent });
  }
  if (panels.errors && hasSide()) {
    add(ERROR_LANES, small ? 'Errors' : 'Packets dropped, received with errors, messages discarded',
      { least: 0.01, text: eventRate, apart: true });
  }
}

/** Every row with its place, for a width; `gutter` is the room for labels on the left. */
export function layout(width, tall) {
  const small = isSmall(width);
  const sfps = [0, 1].filter(sfp => page.hasSfp[sfp]);
  const rows = new Rows();
  addLanes(rows, sfps, small);
  addBands(rows, sfps, small, small ? 108 : Math.max(122, Math.min(230, tall * 0.105)) + 8);
  addBars(rows, sfps, small);
  rows.add('axis', 34, 0);
  return { rows: rows.rows, height: rows.height, gutter: small ? 50 : 78 };
}
