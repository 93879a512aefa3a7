// The event log, to search and to go from.

import { dateTime } from './time.mjs';
import { grouped } from './format.mjs';
import { byId, go, page } from './state.mjs';

const ON_A_PAGE = 200;
const log = { page: 0, words: '' };

/** The log's lines: pairs of a distance from the line before and a text's number. */
export function readEvents(meta) {
  const events = [];
  let t = meta.base;
  for (let i = 0; i < (meta.events || []).length; i += 2) {
    t += meta.events[i];
    events.push({ t, text: meta.texts[meta.events[i + 1]] });
  }
  return events;
}

function line(event) {
  const item = document.createElement('li');
  const button = document.createElement('button');
  const words = document.createElement('span');
  button.type = 'button';
  button.textContent = dateTime(event.t);
  button.onclick = () => {
    go(event.t - 30, event.t + 30);
    byId('h-time').scrollIntoView();
  };
  words.textContent = event.text;
  item.append(button, words);
  return item;
}

export function drawLog() {
  const found = page.events.filter(event => !log.words || event.text.toLowerCase().includes(log.words));
  const pages = Math.max(1, Math.ceil(found.length / ON_A_PAGE));
  log.page = Math.max(0, Math.min(log.page, pages - 1));
  const count = `${grouped(found.length)} ${found.length === 1 ? 'entry' : 'entries'}`;
  const place = pages > 1 ? `, page ${log.page + 1} of ${pages}` : '';
  const { eventsLeftOut } = page.meta;
  const rest = eventsLeftOut ? `; ${grouped(eventsLeftOut)} later ones stand in the event log's file alone` : '';
  byId('logcount').textContent = count + place + rest;
  byId('logback').disabled = log.page === 0;
  byId('lognext').disabled = log.page === pages - 1;
  const from = log.page * ON_A_PAGE;
  byId('loglines').replaceChildren(...found.slice(from, from + ON_A_PAGE).map(line));
}

export function setUpLog() {
  byId('logfind').oninput = event => {
    log.words = event.target.value.trim().toLowerCase();
    log.page = 0;
    drawLog();
  };
  byId('logback').onclick = () => {
    log.page--;
    drawLog();
  };
  byId('lognext').onclick = () => {
    log.page++;
    drawLog();
  };
}
