// Colours: the style sheet's on the screen, light ones on paper.

const NAMES = ['card', 'ink', 'dim', 'line', 'soft', 'a', 'b', 'ab', 'locked', 'unlocked', 'uncal', 'listen', 'nodata',
  'limit', 'fail', 'warn', 'info', 'failbg', 'warnbg', 'infobg', 'm0', 'm1', 'm2', 'm3', 'm4', 'm5'];

export const PAPER_COLOURS = {
  card: '#fff', ink: '#000', dim: '#444', line: '#ccc', soft: '#f2f2f2', a: '#0b62c4', b: '#c25a00', ab: '#6b3fa0',
  locked: '#d5eadf', unlocked: '#f0b429', uncal: '#d9480f', listen: '#3b4654', nodata: '#fff', limit: '#b3261e',
  fail: '#b3261e', warn: '#8a5a00', info: '#44546a', failbg: '#fbe9e7', warnbg: '#fff3d6', infobg: '#eaeff5',
  m0: '#bcd7f2', m1: '#f6d9a8', m2: '#cfe8c6', m3: '#e6cbe6', m4: '#f4c5bd', m5: '#d8d8d8',
};

let colours = PAPER_COLOURS;

export const currentColours = () => colours;

export function useScreenColours() {
  const style = getComputedStyle(document.documentElement);
  colours = Object.fromEntries(NAMES.map(name => [name, style.getPropertyValue(`--${name}`).trim()]));
}

export function usePaperColours() {
  colours = PAPER_COLOURS;
}

const prefersDark = () => matchMedia('(prefers-color-scheme: dark)');

export function isDark() {
  if (colours === PAPER_COLOURS) return false;
  const { theme } = document.documentElement.dataset;
  return theme ? theme === 'dark' : prefersDark().matches;
}

/** The button that changes between light and dark; `changed` draws all again. */
export function setUpTheme(button, changed) {
  const renew = () => {
    useScreenColours();
    changed();
  };
  button.onclick = () => {
    document.documentElement.dataset.theme = isDark() ? 'light' : 'dark';
    renew();
  };
  prefersDark().addEventListener('change', renew);
  useScreenColours();
}
