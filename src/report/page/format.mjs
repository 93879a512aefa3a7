// Texts of numbers.

const MINUS = '\u2212';
const THIN_SPACE = '\u202f';
const FIXED_SPACE = '\u00a0';
const DAY_NANOSECONDS = 86400e9;
/** Below this size, the unit's size and its name. */
const UNITS = [[1e6, 1e3, 'µs'], [1e9, 1e6, 'ms'], [DAY_NANOSECONDS, 1e9, 's'], [Infinity, DAY_NANOSECONDS, 'days']];

export const two = number => String(number).padStart(2, '0');

/** An integer with thin spaces between its thousands. */
export function grouped(value) {
  const digits = String(Math.abs(value)).replace(/\B(?=(\d{3})+$)/g, THIN_SPACE);
  return (value < 0 ? MINUS : '') + digits;
}

/** Every nanosecond up to 0.1 ms, six digits beyond; a dash for what was not measured. */
export function nanoseconds(value, decimals = 0) {
  if (!Number.isFinite(value)) return '–';
  const size = Math.abs(value);
  if (size < 99999.5) {
    const small = decimals > 0 && size < 1000;
    const text = small ? signed(value, size.toFixed(decimals)) : grouped(Math.round(value));
    return text + FIXED_SPACE + 'ns';
  }
  const [, unit, name] = UNITS.find(([below]) => size < below);
  return signed(value, String(Number((size / unit).toPrecision(6)))) + FIXED_SPACE + name;
}

function signed(value, digits) {
  return (value < 0 && Number(digits) !== 0 ? MINUS : '') + digits;
}

/** A mark of an axis: three digits. */
export function axisNanoseconds(value) {
  const size = Math.abs(value);
  if (size === 0) return '0';
  const [divisor, unit] = size < 1e3 ? [1, 'ns'] : size < 1e6 ? [1e3, 'µs'] : size < 1e9 ? [1e6, 'ms'] : [1e9, 's'];
  return signed(value, String(Number((size / divisor).toPrecision(3)))) + FIXED_SPACE + unit;
}

/** Bytes a second as bits a second, three digits. */
export function bitRate(bytes) {
  const bits = bytes * 8;
  const [divisor, unit] = bits < 1e6 ? [1e3, 'kb/s'] : bits < 1e9 ? [1e6, 'Mb/s'] : [1e9, 'Gb/s'];
  return Number.isFinite(bits) ? String(Number((bits / divisor).toPrecision(3))) + FIXED_SPACE + unit : '–';
}

export function eventRate(number) {
  const digits = number < 100 ? String(Number(number.toPrecision(2))) : grouped(Math.round(number));
  return `${digits}${FIXED_SPACE}/${FIXED_SPACE}s`;
}

/** The two greatest units of a time in seconds. */
export function duration(seconds) {
  const s = Math.round(seconds);
  const units = [[86400, 'd'], [3600, 'h'], [60, 'min'], [1, 's']];
  const first = units.findIndex(([size]) => s >= size);
  if (first < 0) return '0 s';
  const [size, name] = units[first];
  let text = `${Math.floor(s / size)} ${name}`;
  const rest = s % size;
  const next = units[first + 1];
  if (next && rest >= next[0]) text += ` ${Math.floor(rest / next[0])} ${next[1]}`;
  return text;
}

/** A share of 1 as per cent; never rounded up to 100 %. */
export function percent(share) {
  if (!(share > 0)) return '0 %';
  if (share >= 1) return '100 %';
  if (share < 1e-3) return `${Number((share * 100).toPrecision(2))} %`;
  if (share > 0.999) return `${Math.floor(share * 1e5) / 1e3} %`;
  return `${(share * 100).toFixed(share < 0.1 ? 2 : 1)} %`;
}

/** An exponent of ten in raised digits. */
export function raised(number) {
  return String(number).replace('-', '⁻').replace(/\d/g, digit => '⁰¹²³⁴⁵⁶⁷⁸⁹'[digit]);
}
