// Two pens with the same strokes: one for the screen's canvas, one that writes SVG for paper.

import { currentColours, isPaper, paperColours } from './theme.mjs';

const FONT = 'system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif';

/** As in the style sheet. */
const WIDE_SCREEN = '(min-width: 2000px)';

/** Letters grow with the page's own where the screen is wide. */
export const letterScale = () => (!isPaper() && matchMedia(WIDE_SCREEN).matches ? 1.2 : 1);

export class ScreenPen {
  constructor(canvas, width, height) {
    this.colour = currentColours();
    this.ratio = isPaper() ? 3 : Math.min(3, window.devicePixelRatio || 1);
    this.columnsPerPixel = this.ratio;
    this.letters = letterScale();
    const [w, h] = [Math.round(width * this.ratio), Math.round(height * this.ratio)];
    if (canvas.width !== w || canvas.height !== h) {
      canvas.width = w;
      canvas.height = h;
    }
    canvas.style.height = `${height}px`;
    this.context = canvas.getContext('2d');
    this.context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    this.context.clearRect(0, 0, width, height);
  }

  rect(x, y, width, height, fill, alpha = 1) {
    const c = this.context;
    c.globalAlpha = alpha;
    c.fillStyle = fill;
    c.fillRect(x, y, width, height);
    c.globalAlpha = 1;
  }

  line(x0, y0, x1, y1, stroke, width = 1, dash = null) {
    this.poly([[x0, y0], [x1, y1]], stroke, width, 1, dash);
  }

  /** A line through points; null lifts the pen. */
  poly(points, stroke, width, alpha = 1, dash = null) {
    const c = this.context;
    c.globalAlpha = alpha;
    c.strokeStyle = stroke;
    c.lineWidth = width;
    c.lineJoin = 'round';
    c.setLineDash(dash || []);
    c.beginPath();
    let lifted = true;
    for (const point of points) {
      if (point) c[lifted ? 'moveTo' : 'lineTo'](point[0], point[1]);
      lifted = !point;
    }
    c.stroke();
    c.setLineDash([]);
    c.globalAlpha = 1;
  }

  shape(points, fill, alpha = 1, stroke = null) {
    const c = this.context;
    c.globalAlpha = alpha;
    c.fillStyle = fill;
    c.beginPath();
    for (const [x, y] of points) c.lineTo(x, y);
    c.closePath();
    c.fill();
    if (stroke) {
      c.strokeStyle = stroke;
      c.lineWidth = 1;
      c.stroke();
    }
    c.globalAlpha = 1;
  }

  /** Upright bars from tops[i] to bottoms[i]; none where the top is NaN. Never thinner than a pixel. */
  columns(x, width, tops, bottoms, fill, alpha) {
    const c = this.context;
    const least = 1 / this.ratio;
    c.globalAlpha = alpha;
    c.fillStyle = fill;
    for (let i = 0; i < tops.length; i++) {
      const top = tops[i];
      if (!Number.isNaN(top)) c.fillRect(x + i * width, top, width, Math.max(least, bottoms[i] - top));
    }
    c.globalAlpha = 1;
  }

  text(x, y, words, fill, { align = 'left', size = 11, weight = 400 } = {}) {
    const c = this.context;
    c.font = `${weight} ${size * this.letters}px ${FONT}`;
    c.textAlign = align;
    c.textBaseline = 'middle';
    c.fillStyle = fill;
    c.fillText(words, x, y);
  }

  width(words, size = 11, weight = 400) {
    this.context.font = `${weight} ${size * this.letters}px ${FONT}`;
    return this.context.measureText(words).width;
  }

  clip(x, y, width, height, draw) {
    const c = this.context;
    c.save();
    c.beginPath();
    c.rect(x, y, width, height);
    c.clip();
    draw();
    c.restore();
  }
}

const round = value => Number(value.toFixed(1));
const ANCHORS = { left: 'start', center: 'middle', right: 'end' };
const ENTITIES = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' };
let clips = 0;

export class PaperPen {
  constructor(width, height) {
    this.size = [width, height];
    this.parts = [];
    this.colour = paperColours();
    this.columnsPerPixel = 1;
  }

  rect(x, y, width, height, fill, alpha = 1) {
    this.parts.push(`<rect x="${round(x)}" y="${round(y)}" width="${round(Math.max(width, 0.1))}" height="${
      round(height)}" fill="${fill}"${alpha < 1 ? ` opacity="${alpha}"` : ''}/>`);
  }

  line(x0, y0, x1, y1, stroke, width = 1, dash = null) {
    this.poly([[x0, y0], [x1, y1]], stroke, width, 1, dash);
  }

  poly(points, stroke, width, alpha = 1, dash = null) {
    let path = '';
    let lifted = true;
    for (const point of points) {
      if (point) path += `${lifted ? 'M' : 'L'}${round(point[0])} ${round(point[1])}`;
      lifted = !point;
    }
    this.parts.push(`<path d="${path}" stroke="${stroke}" stroke-width="${width}" fill="none"${
      alpha < 1 ? ` opacity="${alpha}"` : ''}${dash ? ` stroke-dasharray="${dash}"` : ''}/>`);
  }

  shape(points, fill, alpha = 1, stroke = null) {
    const path = points.map(([x, y]) => `${round(x)} ${round(y)}`).join('L');
    this.parts.push(`<path d="M${path}z" fill="${fill}" opacity="${alpha}"${stroke ? ` stroke="${stroke}"` : ''}/>`);
  }

  columns(x, width, tops, bottoms, fill, alpha) {
    let path = '';
    for (let i = 0; i < tops.length; i++) {
      const top = tops[i];
      if (Number.isNaN(top)) continue;
      path += `M${round(x + (i + 0.5) * width)} ${round(top)}V${round(Math.max(bottoms[i], top + 0.5))}`;
    }
    if (path) {
      this.parts.push(`<path d="${path}" stroke="${fill}" stroke-width="${
        round(width * 1.05)}" opacity="${alpha}" fill="none"/>`);
    }
  }

  text(x, y, words, fill, { align = 'left', size = 11, weight = 400 } = {}) {
    const escaped = String(words).replace(/[&<>"]/g, character => ENTITIES[character]);
    this.parts.push(`<text x="${round(x)}" y="${round(y + size * 0.35)}" fill="${fill}" font-size="${
      size}" font-weight="${weight}" text-anchor="${ANCHORS[align]}">${escaped}</text>`);
  }

  width(words, size = 11) {
    return String(words).length * size * 0.56;
  }

  clip(x, y, width, height, draw) {
    const id = `clip${++clips}`;
    this.parts.push(`<clipPath id="${id}"><rect x="${round(x)}" y="${round(y)}" width="${round(width)}" height="${
      round(height)}"/></clipPath><g clip-path="url(#${id})">`);
    draw();
    this.parts.push('</g>');
  }

  svg() {
    const [width, height] = this.size;
    return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" font-family="${
      FONT.replace(/"/g, "'")}">${this.parts.join('')}</svg>`;
  }
}

/** Lines at 45°, cut to a rectangle; lean 1 rises to the right, -1 falls. */
export function hatch(pen, x, y, width, height, stroke, gap, lean, lineWidth = 1) {
  if (width <= 0) return;
  const points = [];
  const end = x + width;
  const first = x - height - ((x % gap) + gap) % gap;
  for (let start = first; start < end; start += gap) {
    let [x0, y0, x1, y1] = [start, y + height, start + height, y];
    if (x1 <= x) continue;
    if (x0 < x) {
      y0 -= x - x0;
      x0 = x;
    }
    if (x1 > end) {
      y1 += x1 - end;
      x1 = end;
    }
    const flip = v => (lean < 0 ? 2 * y + height - v : v);
    points.push(null, [x0, flip(y0)], [x1, flip(y1)]);
  }
  pen.poly(points, stroke, lineWidth, 0.75);
}
