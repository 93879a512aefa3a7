// What stays the same for a while: states, masters, links, settings.

export const LOCKED = 10;
const STATES = ['no telemetry', 'initializing', 'faulty', 'disabled', 'listening', 'pre-leader', 'leader', 'passive',
  'uncalibrated', 'follower unlocked', 'follower locked'];

export const stateName = code => STATES[code] || (code < 0 ? '–' : 'invalid');
export const stateCode = name => STATES.indexOf(name);

/** Values with the moments they begin at; the last one lasts until `end`. */
export class Runs {
  /** pairs: [distance from the run before, value, …], the first from base. */
  constructor(pairs, base, end) {
    this.times = [];
    this.values = [];
    this.end = end;
    let t = base;
    for (let i = 0; i < (pairs || []).length; i += 2) {
      t += pairs[i];
      this.times.push(t);
      this.values.push(pairs[i + 1]);
    }
  }

  get length() {
    return this.times.length;
  }

  /** The run that holds t; -1 before the first. */
  indexAt(t) {
    let low = 0;
    let high = this.times.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.times[middle] <= t) low = middle + 1;
      else high = middle;
    }
    return low - 1;
  }

  /** The runs that touch a to b, cut to it: {a, b, value}. */
  * within(a, b) {
    for (let i = Math.max(0, this.indexAt(a)); i < this.times.length && this.times[i] < b; i++) {
      const from = Math.max(a, this.times[i]);
      const to = Math.min(b, i + 1 < this.times.length ? this.times[i + 1] : this.end);
      if (to > from) yield { a: from, b: to, value: this.values[i] };
    }
  }

  valuesWithin(a, b) {
    return [...new Set([...this.within(a, b)].map(run => run.value))];
  }

  /** The share of a to b in which `good` holds. */
  share(good, a, b) {
    let seconds = 0;
    for (const run of this.within(a, b)) if (good(run.value)) seconds += run.b - run.a;
    return seconds / (b - a);
  }
}
