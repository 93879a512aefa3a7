// Colours: the style sheet's for the screen, its light ones with blacker ink on paper.

const NAMES = ['card', 'ink', 'dim', 'line', 'soft', 'a', 'b', 'ab', 'locked', 'unlocked', 'uncal', 'listen', 'nodata',
  'limit', 'fail', 'warn', 'info', 'failbg', 'warnbg', 'infobg', 'm0', 'm1', 'm2', 'm3', 'm4', 'm5'];
const PAPER = { ink: '#000', dim: '#444', line: '#ccc', soft: '#f2f2f2' };

let colours = {};
let onPaper = false;

export const currentColours = () => colours;
export const isPaper = () => onPaper;

/** The colours as an element of a scheme, light or dark, would have them; without one, of the page's own. */
function readColours(scheme = '') {
  const probe = document.createElement('i');
  probe.style.colorScheme = scheme;
  document.body.append(probe);
  const read = NAMES.map(name => {
    probe.style.color = `var(--${name})`;
    return [name, getComputedStyle(probe).color];
  });
  probe.remove();
  return Object.fromEntries(read);
}

export const paperColours = () => ({ ...readColours('light'), ...PAPER });

export function useScreenColours() {
  onPaper = false;
  colours = readColours();
}

export function usePaperColours() {
  onPaper = true;
  colours = paperColours();
}

const prefersDark = () => matchMedia('(prefers-color-scheme: dark)');

export function isDark() {
  if (onPaper) return false;
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
