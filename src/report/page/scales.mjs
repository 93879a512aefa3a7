// Values to heights, and the marks of the axis.

/** Up to here the logarithmic scale is linear, in nanoseconds. */
const LINEAR_TO = 100;
/** Height of the strips above and below a panel's range, for what lies beyond it. */
const STRIP = 20;

const identity = value => value;
const squash = value => Math.asinh(value / LINEAR_TO);
const stretch = value => Math.sinh(value) * LINEAR_TO;

function roundStep(raw) {
  const magnitude = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 5, 10].map(m => m * magnitude).find(step => step >= raw * 0.999999);
}

/** Round numbers between low and high, about `count` of them. */
export function linearTicks(low, high, count) {
  const step = roundStep((high - low) / Math.max(1, count));
  const ticks = [];
  for (let n = Math.ceil(low / step - 1e-9); n * step <= high + step * 1e-6; n++) ticks.push(n * step + 0);
  return ticks;
}

function decadeTicks(low, high) {
  const top = Math.max(Math.abs(low), Math.abs(high));
  const ticks = [0];
  if (top < 250) for (const v of [50, 100, 200]) ticks.push(v, -v);
  else for (let v = 100; v <= top; v *= 10) ticks.push(v, -v);
  if (top >= 250 && top < 6000) for (const v of [300, 3000]) ticks.push(v, -v);
  return ticks.filter(v => v >= low && v <= high);
}

/** Zero first, then round decades, then the rest. */
function rank(tick) {
  if (tick === 0) return -1;
  const decade = Math.log10(Math.abs(tick));
  return Math.abs(decade - Math.round(decade)) < 1e-9 ? 10 - decade : 20;
}

/**
 * A panel's scale. `inner` is the range that has the panel to itself, `outer` all that is in view: what lies beyond the
 * inner range is squeezed into strips at the edges, so that nothing in view is left out.
 */
export class Scale {
  constructor({ inner, outer, top, height, logarithmic }) {
    this.forward = logarithmic ? squash : identity;
    this.backward = logarithmic ? stretch : identity;
    this.logarithmic = logarithmic;
    const [low, high] = inner.map(this.forward);
    const padding = (high - low) * 0.06 || 1;
    this.low = low - padding;
    this.high = high + padding;
    this.above = this.forward(outer[1]) > this.high ? outer[1] : null;
    this.below = this.forward(outer[0]) < this.low ? outer[0] : null;
    this.edge = { top, bottom: top + height };
    this.top = top + (this.above === null ? 0 : STRIP);
    this.bottom = top + height - (this.below === null ? 0 : STRIP);
    this.highest = this.backward(this.high);
    this.lowest = this.backward(this.low);
  }

  y(value) {
    const v = this.forward(value);
    const { above, below, highest, lowest } = this;
    if (v > this.high && above !== null) return this.top - this.beyond(value - highest, above - highest);
    if (v < this.low && below !== null) return this.bottom + this.beyond(lowest - value, lowest - below);
    const share = (v - this.low) / (this.high - this.low);
    return this.bottom - Math.max(0, Math.min(1, share)) * (this.bottom - this.top);
  }

  /** A strip's logarithmic distance from the inner range. */
  beyond(distance, farthest) {
    const reach = Math.log1p(farthest / LINEAR_TO);
    return 3 + Math.min(1, Math.log1p(distance / LINEAR_TO) / reach) * (STRIP - 5);
  }

  /** Marks that stand at least 12 pixels apart: {value, y}. */
  ticks(spacing) {
    const [low, high] = [this.lowest, this.highest];
    const count = (this.bottom - this.top) / spacing;
    const values = this.logarithmic ? decadeTicks(low, high) : linearTicks(low, high, count);
    values.sort((a, b) => rank(a) - rank(b));
    const ticks = [];
    for (const value of values) {
      const y = this.y(value);
      const inside = y > this.top + 2 && y < this.bottom - 2;
      if (inside && ticks.every(tick => Math.abs(tick.y - y) >= 12)) ticks.push({ value, y });
    }
    return ticks;
  }
}

/** The magnitude of an offset as a share of 1, logarithmic, for strips and heat maps. */
export const magnitude = (value, top) => Math.min(1, squash(Math.abs(value)) / squash(top));
