// Brings the page to life.

import { CHOICES, isSmall } from './layout.mjs';
import { Runs } from './runs.mjs';
import { Store, bytesOfBase64, inflateRaw } from './decode.mjs';
import { drawDays, setUpDays } from './days.mjs';
import { drawHeat, setUpHeat } from './heat.mjs';
import { drawLog, readEvents, setUpLog } from './event_log.mjs';
import { drawPlots, setUpPlots } from './plots.mjs';
import { drawReadout, placeCursor, shownFigures } from './readout.mjs';
import {
  currentEpisode, followView, openEpisode, readEpisodes, renewTimes, setUpEpisodes, stepEpisode,
} from './episodes.mjs';
import { drawStrip, setUpStrip } from './strip.mjs';
import { drawTimeline } from './timeline.mjs';
import { fold } from './fold.mjs';
import { setRecorderZone, setZone, zoneChoice } from './time.mjs';
import { setUpKeys } from './keys.mjs';
import { setUpPointer } from './pointer.mjs';
import { setUpSaving, viewCsv } from './save.mjs';
import { setUpTheme } from './theme.mjs';
import { addressOf, byId, go, goBack, isWhole, page, readAddress, show, showWhole, zoom } from './state.mjs';

const RUNS = ['state0', 'state1', 'master0', 'master1', 'link0', 'link1', 'card', 'best', 'genlock', 'source'];

let frame = null;
let queued = false;

/** What the keyboard and the pointer do to the chart. */
const timeline = {
  frame: () => frame,
  drawNow,
  redraw,
  setCursor(t) {
    page.cursor = t;
    placeCursor(frame);
    drawReadout(frame);
  },
  setLogarithmic(on) {
    page.logarithmic = on;
    press('scale', on ? 'log' : 'lin');
    redraw();
  },
  setEverything(on) {
    page.everything = on;
    press('range', on ? 'all' : 'locked');
    redraw();
  },
};

function drawNow() {
  queued = false;
  frame = drawTimeline();
  drawStrip(frame.left);
  placeCursor(frame);
  drawReadout(frame);
  markSpans();
}

function redraw() {
  if (queued) return;
  queued = true;
  requestAnimationFrame(drawNow);
}

/** The charts below; there are none without raw data. */
function drawSmall() {
  if (!page.store.whole) return;
  drawHeat();
  drawPlots();
  drawDays();
}

function drawAll() {
  drawNow();
  drawSmall();
}

function press(group, value) {
  for (const button of byId(group).children) button.setAttribute('aria-pressed', String(button.dataset.v === value));
}

function markSpans() {
  const full = page.t1 - page.t0;
  for (const button of byId('spans').children) {
    const span = Number(button.dataset.span);
    const on = span === 0 ? isWhole() : Math.abs(page.view.b - page.view.a - span) < 0.5;
    button.setAttribute('aria-pressed', String(on));
    button.hidden = span > 0 && span >= full * 0.9;
  }
  byId('back').disabled = !page.past.length;
}

/** A span around the cursor, else around the open incident, else in the middle. */
function showSpan(span) {
  if (!span) {
    showWhole();
    return;
  }
  const episode = currentEpisode();
  const inView = episode && episode.b >= page.view.a && episode.a <= page.view.b;
  const middle = page.cursor ?? (inView ? (episode.a + episode.b) / 2 : (page.view.a + page.view.b) / 2);
  go(middle - span / 2, middle + span / 2);
}

function setUpToolbar() {
  for (const button of byId('spans').children) button.onclick = () => showSpan(Number(button.dataset.span));
  for (const button of byId('scale').children) {
    button.onclick = () => timeline.setLogarithmic(button.dataset.v === 'log');
  }
  for (const button of byId('range').children) {
    button.onclick = () => timeline.setEverything(button.dataset.v === 'all');
  }
  byId('in').onclick = () => zoom(0.4);
  byId('out').onclick = () => zoom(2.5);
  byId('back').onclick = goBack;
  byId('next').onclick = () => stepEpisode(1);
  byId('prev').onclick = () => stepEpisode(-1);
  byId('help').onclick = () => byId('keys').showModal();
  byId('zone').onchange = event => {
    setZone(event.target.value);
    showTimes();
  };
  for (const [name, title, available] of CHOICES) {
    if (!available()) continue;
    const label = document.createElement('label');
    const box = document.createElement('input');
    box.type = 'checkbox';
    box.checked = Boolean(page.panels[name]);
    box.onchange = () => {
      page.panels[name] = box.checked;
      redraw();
    };
    label.append(box, title);
    byId('more').append(label);
  }
  document.addEventListener('click', event => {
    const menu = document.querySelector('.menu[open]');
    if (menu && !menu.contains(event.target)) menu.open = false;
  });
}

function showTimes() {
  byId('zone').value = zoneChoice();
  renewTimes();
  redraw();
  drawHeat();
  drawLog();
}

/** Shows what the address holds. */
function followAddress() {
  const found = readAddress();
  if (found === true) {
    timeline.setLogarithmic(page.logarithmic);
    timeline.setEverything(page.everything);
    showTimes();
  } else if (found) {
    const episode = page.episodes.find(e => e.id === found);
    if (!episode) return;
    openEpisode(episode);
    byId('h-time').scrollIntoView({ behavior: 'instant' });
  }
}

/** From the first record to the last one; without records, of the event log's lines. */
function extent(meta) {
  const { events } = page;
  if (meta.t1 > meta.t0 || !events.length) return [meta.t0, meta.t1];
  return [events[0].t, events[events.length - 1].t + 1];
}

function readPage() {
  const meta = JSON.parse(byId('meta').textContent);
  page.meta = meta;
  page.events = readEvents(meta);
  const [from, to] = extent(meta);
  page.t0 = from;
  page.t1 = Math.max(to, from + 10);
  page.view = { a: page.t0, b: page.t1 };
  for (const name of RUNS) {
    page.runs[name] = new Runs(meta.runs[name], meta.base, page.t1);
  }
  const grandmasters = [...new Set(meta.masters.slice(1).map(master => master.id))];
  for (const master of meta.masters) master.colour = grandmasters.indexOf(master.id);
  page.hasSfp = [0, 1].map(sfp => page.runs[`state${sfp}`].length > 0);
  page.gaps = [];
  for (let i = 0; i < (meta.gaps || []).length; i += 2) {
    page.gaps.push([meta.base + meta.gaps[i], meta.base + meta.gaps[i + 1]]);
  }
  page.episodes = readEpisodes();
  setRecorderZone(meta.tz);
  if (meta.running) document.querySelector('.facts').append(' · still being recorded');
  if (!meta.tzKnown) byId('zone').querySelector('[value=rec]').remove();
  page.store = new Store(meta, bytesOfBase64(byId('data').textContent), inflateRaw);
}

async function start() {
  if (!CSS.supports('color', 'light-dark(#000, #fff)')) throw new Error('it does not know light-dark()');
  readPage();
  if (!page.store.whole && !page.events.length) {
    document.querySelector('.static figcaption').textContent = 'There is no telemetry and no event to draw.';
    return;
  }
  document.documentElement.classList.add('live');
  if (page.store.whole) await page.store.loadLevel(page.store.whole);
  else document.querySelector('.trio').hidden = true;
  page.store.arrived = redraw;
  setUpTheme(byId('theme'), drawAll);
  setUpToolbar();
  setUpEpisodes(redraw);
  setUpStrip(() => frame.left);
  setUpPointer(timeline);
  setUpKeys(timeline);
  setUpHeat();
  setUpPlots();
  setUpDays();
  setUpLog();
  setUpSaving(drawSmall, drawAll);
  page.onView.push(redraw);
  page.onMoved.push(followView);
  window.addEventListener('hashchange', followAddress);
  drawNow();
  followAddress();
  drawLog();
  renewTimes();
  await new Promise(resolve => setTimeout(resolve));
  drawSmall();
  followWidth();
}

/** Draws again when the window's width changes; the small charts once it has come to rest. */
function followWidth() {
  const stack = byId('stack');
  let width = stack.clientWidth;
  let waiting = 0;
  new ResizeObserver(() => {
    if (stack.clientWidth === width) return;
    width = stack.clientWidth;
    redraw();
    clearTimeout(waiting);
    waiting = setTimeout(drawSmall, 80);
  }).observe(stack);
}

/** An old browser that can't unpack the data shows the page as without scripts. */
function giveUp(error) {
  document.documentElement.classList.remove('live');
  const reason = document.createElement('p');
  reason.textContent = `The chart could not be opened in this browser: ${error.message}`;
  document.querySelector('.static figcaption').append(reason);
}

const started = start();
started.catch(giveUp);

/** For the curious, at the browser's console, and for tests. */
window.report = {
  page, fold, go, show, isSmall, addressOf, viewCsv, cursor: timeline.setCursor, figures: shownFigures, drawNow,
  frame: () => frame,
  started,
};
