// Mouse, pen and fingers on the chart.

import { openEpisode } from './episodes.mjs';
import { byId, clampView, go, page, remember, settle, show, showWhole } from './state.mjs';

const CLICK = 8;

/** One gesture from the first pointer down to the last one up. */
class Gestures {
  constructor(timeline) {
    this.timeline = timeline;
    this.stack = byId('stack');
    this.brush = byId('brush');
    this.pointers = new Map();
    this.mode = null;
    this.moved = 0;
  }

  timeAt(event) {
    const frame = this.timeline.frame();
    const x = event.clientX - this.stack.getBoundingClientRect().left;
    return page.view.a + (x - frame.left) / frame.width * (page.view.b - page.view.a);
  }

  flagAt(event, room) {
    const place = this.stack.getBoundingClientRect();
    const x = event.clientX - place.left;
    const y = event.clientY - place.top;
    return this.timeline.frame().flags.find(f =>
      x >= f.x - room && x <= f.x + f.w + room && y >= f.y && y <= f.y + f.h);
  }

  down(event) {
    if (event.button > 1) return;
    this.pointers.set(event.pointerId, event);
    this.moved = 0;
    this.from = event.clientX;
    this.start = { view: { ...page.view }, t: this.timeAt(event) };
    if (event.pointerType === 'touch') {
      this.mode = this.pointers.size === 2 ? 'pinch' : 'finger';
      if (this.mode === 'pinch') this.beginPinch(event);
      return;
    }
    this.stack.setPointerCapture(event.pointerId);
    this.mode = event.shiftKey || event.button === 1 ? 'pan' : 'mark';
    if (event.button === 1) event.preventDefault();
  }

  beginPinch(event) {
    const [p, q] = [...this.pointers.values()];
    this.pinch = { distance: Math.max(20, Math.abs(p.clientX - q.clientX)), at: (this.timeAt(p) + this.timeAt(q)) / 2 };
    this.stack.setPointerCapture(event.pointerId);
  }

  move(event) {
    if (this.pointers.has(event.pointerId)) {
      this.moved = Math.max(this.moved, Math.abs(event.clientX - this.from));
      this.pointers.set(event.pointerId, event);
    }
    if (this.mode === 'pinch' && this.pointers.size === 2) {
      this.spread();
    } else if (this.mode === 'pan' || (this.mode === 'finger' && this.moved > CLICK)) {
      if (this.mode === 'finger') this.stack.setPointerCapture(event.pointerId);
      this.drag(event);
    } else {
      if (this.mode === 'mark' && this.moved > 4) this.mark(event);
      if (event.pointerType !== 'touch') this.hover(event);
    }
  }

  spread() {
    const [p, q] = [...this.pointers.values()];
    const factor = this.pinch.distance / Math.max(20, Math.abs(p.clientX - q.clientX));
    const { at } = this.pinch;
    const { view } = this.start;
    show(clampView(at - (at - view.a) * factor, at + (view.b - at) * factor));
  }

  drag(event) {
    const { view } = this.start;
    const way = (this.from - event.clientX) / this.timeline.frame().width * (view.b - view.a);
    show(clampView(view.a + way, view.b + way));
  }

  mark(event) {
    const frame = this.timeline.frame();
    const offset = this.stack.getBoundingClientRect().left;
    const inside = x => Math.max(frame.left, Math.min(frame.right, x - offset));
    const [left, right] = [inside(Math.min(this.from, event.clientX)), inside(Math.max(this.from, event.clientX))];
    this.brush.style.display = 'block';
    this.brush.style.left = `${left}px`;
    this.brush.style.width = `${right - left}px`;
  }

  hover(event) {
    const t = this.timeAt(event);
    this.timeline.setCursor(t >= page.view.a && t <= page.view.b ? t : null);
    const flag = this.flagAt(event, 2);
    this.stack.style.cursor = flag ? 'pointer' : '';
    this.stack.title = flag ? flagTitle(flag.list) : '';
  }

  up(event) {
    if (!this.pointers.delete(event.pointerId)) return;
    this.brush.style.display = 'none';
    const { mode } = this;
    if (this.pointers.size === 0) this.mode = null;
    if (mode === 'mark' && this.moved > 4) {
      const t = this.timeAt(event);
      go(Math.min(this.start.t, t), Math.max(this.start.t, t));
    } else if (mode === 'pan' || mode === 'pinch' || (mode === 'finger' && this.moved > CLICK)) {
      remember(this.start.view);
      settle();
    } else if (this.moved <= CLICK) {
      this.tap(event);
    }
  }

  tap(event) {
    const flag = this.flagAt(event, event.pointerType === 'touch' ? 10 : 4);
    if (flag && flag.list.length === 1) {
      openEpisode(flag.list[0]);
    } else if (flag) {
      const [a, b] = [flag.list[0].a, Math.max(...flag.list.map(episode => episode.b))];
      const margin = Math.max(10, (b - a) * 0.1);
      go(a - margin, b + margin);
    } else if (event.pointerType === 'touch') {
      this.timeline.setCursor(this.timeAt(event));
    }
  }

  cancel(event) {
    this.pointers.delete(event.pointerId);
    this.mode = null;
    this.brush.style.display = 'none';
    this.timeline.redraw();
  }

  /** Ctrl or Cmd and the wheel zoom, the wheel sideways moves; the bare wheel scrolls the page. */
  wheel(event) {
    const sideways = Math.abs(event.deltaX) > Math.abs(event.deltaY) || event.shiftKey;
    const zooming = event.ctrlKey || event.metaKey;
    if (!zooming && !sideways) return;
    event.preventDefault();
    const { a, b } = page.view;
    if (zooming) {
      const factor = Math.exp(Math.max(-60, Math.min(60, event.deltaY)) * 0.006);
      const t = this.timeAt(event);
      show(clampView(t - (t - a) * factor, t + (b - t) * factor));
    } else {
      const way = (event.deltaX || event.deltaY) / this.stack.clientWidth * (b - a);
      show(clampView(a + way, b + way));
    }
    settle();
  }
}

function flagTitle(list) {
  const names = list.slice(0, 6).map(episode => `${episode.number} ${episode.title}`);
  if (list.length === 1) return names[0];
  return `${list.length} incidents: ${names.join('; ')}${list.length > 6 ? ' …' : ''}`;
}

export function setUpPointer(timeline) {
  const gestures = new Gestures(timeline);
  const { stack } = gestures;
  stack.addEventListener('pointerdown', event => gestures.down(event));
  stack.addEventListener('pointermove', event => gestures.move(event));
  stack.addEventListener('pointerup', event => gestures.up(event));
  stack.addEventListener('pointercancel', event => gestures.cancel(event));
  stack.addEventListener('pointerleave', event => {
    if (!gestures.mode && event.pointerType !== 'touch') timeline.setCursor(null);
  });
  stack.addEventListener('dblclick', showWhole);
  stack.addEventListener('wheel', event => gestures.wheel(event), { passive: false });
}
