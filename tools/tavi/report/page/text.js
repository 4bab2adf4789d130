const byId = (id) => document.getElementById(id);
const report = JSON.parse(byId('report-data').textContent);

const ROTATIONS = [0, 90, 180, 270];
const ANGLES = 181;  // 0 to 180 degrees
const COLOURS = 7;  // of cases; then they repeat with another pattern
const PATTERNS = 4;
const CHANNELS = ['left', 'right'];
const CHANNEL_TITLES = { left: 'Left channel', right: 'Right channel', pair: 'Left and right' };
const DSP_BINS = 257;
const PLAYED_TAPS = 257;  // of a filter's 512 samples, what a DSP that works in blocks plays right
const TELEPHONE_BAND = [300, 3400];  // Hz
const POINTS_BELOW = 1000;  // Hz; bins are few there, and what is between them is not in the file
const NARROW = 12;  // pixels of a cell
const LONG_LIST = 40;  // entries

// ---- Text -------------------------------------------------------------------------------------

// An element. What comes from the configuration only ever becomes text.
function make(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name === 'class') node.className = value;
    else if (name.startsWith('on')) node.addEventListener(name.slice(2), value);
    else if (typeof value === 'boolean') node.toggleAttribute(name, value);
    else node.setAttribute(name, value);
  }
  node.append(...children.filter((child) => child !== null));
  return node;
}

// With what has no shape of its own, or changes the direction of others, as an escape.
function visible(text) {
  const names = { '\n': '\\n', '\r': '\\r', '\t': '\\t' };
  return text.replace(/[\p{Cc}\p{Cf}\p{Zl}\p{Zp}]/gu, (character) => {
    const code = character.codePointAt(0).toString(16);
    return names[character] || (code.length > 2 ? `\\u{${code}}` : `\\x${code.padStart(2, '0')}`);
  });
}

const fileName = (output) => make('code', {}, visible(output.file));

function decimal(value, digits) {
  const text = value.toFixed(digits);
  return Number(text) === 0 ? text.replace('-', '') : text.replace('-', '\u2212');
}

const signed = (value) => `${value > 0 ? '+' : ''}${decimal(value, 2)}`;

function number(value) {
  return String(value).replace('-', '\u2212');
}

function count(amount, noun) {
  return `${amount} ${noun}${amount === 1 ? '' : 's'}`;
}

function enumerate(words) {
  return words.length < 2 ? words.join('') : `${words.slice(0, -1).join(', ')} and ${words[words.length - 1]}`;
}

// "3, 5 to 9 and 12" for ascending numbers; "0 to 5, ... and 400 more" when there are many.
function ranges(numbers) {
  const runs = [];
  for (const value of numbers) {
    const last = runs[runs.length - 1];
    if (last && last[1] === value - 1) last[1] = value;
    else runs.push([value, value]);
  }
  const MOST = 8;
  const words = runs.slice(0, MOST).flatMap(([from, to]) => (to - from < 2 ? [...new Set([from, to])] : [`${from} to ${to}`]));
  const rest = runs.slice(MOST).reduce((sum, [from, to]) => sum + to - from + 1, 0);
  if (rest > 0) words.push(`${rest} more`);
  return enumerate(words);
}

const degrees = (value) => `${value}\u00b0`;
const hertz = (value) => `${Number(value.toFixed(4))} Hz`;

// The cases by number, and behind them those of what the report is laid against.
const { against } = report;
const allCases = against ? [...report.cases, ...against.cases] : report.cases;
const OLD = 'old';
const isOld = (number) => number >= report.cases.length;
const oldNumber = (number) => number - report.cases.length;  // that it had
const caseTitle = (number) => (isOld(number) ? `Old case ${oldNumber(number)}` : `Case ${number}`);

function conditionsText(number) {
  const conditions = Object.entries(allCases[number].conditions);
  const words = { HingeAngle: 'hinge', ScreenRotation: 'rotation' };
  return conditions.map(([name, value]) => visible(`${words[name] || name} ${value}`)).join('; ');
}
