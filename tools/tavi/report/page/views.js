// ---- Views ------------------------------------------------------------------------------------

// A view is a choice of the switch above the curves. Its panels stand beside each other and have
// charts below each other; a chart has curves of one quantity over one axis.

const VIEWS = {
  response: { title: 'Magnitude, phase', panels: CHANNELS },
  delay: { title: 'Group delay', panels: CHANNELS },
  impulse: { title: 'Impulse response', panels: CHANNELS },
  pair: { title: 'Left and right', panels: ['pair'] },
};
const PANELS = [...CHANNELS, 'pair'];

// `least`: a curve that hardly moves is to look so. `span`: below the highest value; a notch to
// nothing would flatten the rest. `share`: of the values that are to be seen; where there is next to
// no signal a delay is any number.
const QUANTITIES = {
  magnitude_db: { title: 'Magnitude, dB', unit: 'dB', digits: 3, steps: [1, 2, 3, 6, 10, 20], least: 6, span: 80, share: 1 },
  phase_degrees: { title: 'Phase, degrees', unit: '\u00b0', digits: 2, steps: [15, 30, 45, 90, 180, 360, 720], least: 90, span: Infinity, share: 1 },
  group_delay_ms: { title: 'Group delay, ms', unit: 'ms', digits: 3, steps: [0.1, 0.2, 0.5, 1, 2, 5], least: 0.5, span: Infinity, share: 0.98 },
  impulse_db: { title: 'Impulse response, dB', unit: 'dB', digits: 1, steps: [10, 20, 30], least: 40, span: 120, share: 1 },
  difference_db: { title: 'Right less left, dB', unit: 'dB', digits: 3, steps: [1, 2, 3, 6, 10, 20], least: 6, span: 80, share: 1 },
};

if (against) {
  QUANTITIES.change_db = { title: 'New less old, dB', unit: 'dB', digits: 3, steps: [1, 2, 3, 6, 10, 20], least: 6, span: 80, share: 1 };
}

const milliseconds = (sample) => `${decimal(1000 * sample / report.rate_hz, 3)} ms`;

// Bin 0 has no place on a logarithmic axis.
const AXES = {
  hz: {
    title: 'Frequency, Hz', first: 1, last: () => lastBin(),
    at: (index) => report.frequency_hz[index] || 0,
    index: () => state.bin,
    set: (index) => { state.bin = index; },
    range: () => [report.frequency_hz.length > 1 ? report.frequency_hz[1] : 1,
      Math.max(report.rate_hz / 2, report.frequency_hz[lastBin()] || 0)],
    name: (index) => `Bin ${index}`,
    place: (index) => hertz(report.frequency_hz[index] || 0),
  },
  samples: {
    title: 'Sample', first: 0, last: () => 511,
    at: (index) => index,
    index: () => state.sample,
    set: (index) => { state.sample = index; },
    range: () => [0, 511],
    name: (index) => `Sample ${index}`,
    place: milliseconds,
  },
};

// Of a panel in a view: the charts' names are part of their ids.
const CHARTS = CHANNELS.flatMap((panel) => [
  { view: 'response', panel, name: 'magnitude', quantity: 'magnitude_db', across: 'hz' },
  ...(against ? [{ view: 'response', panel, name: 'change', quantity: 'change_db', across: 'hz' }] : []),
  { view: 'response', panel, name: 'phase', quantity: 'phase_degrees', across: 'hz' },
  { view: 'delay', panel, name: 'delay', quantity: 'group_delay_ms', across: 'hz' },
  { view: 'impulse', panel, name: 'impulse', quantity: 'impulse_db', across: 'samples' },
]).concat([
  { view: 'pair', panel: 'pair', name: 'magnitude', quantity: 'magnitude_db', across: 'hz' },
  { view: 'pair', panel: 'pair', name: 'difference', quantity: 'difference_db', across: 'hz' },
]);

const isOfTime = () => state.view === 'delay' || state.view === 'impulse';
const shownPanels = () => VIEWS[state.view].panels;
const chartsOf = (panel) => CHARTS.filter((chart) => chart.panel === panel && chart.view === state.view);

// As far as both go.
const less = (values, others) => values && others && values.slice(0, others.length).map(
  (value, i) => (value === null || others[i] === null ? null : value - others[i]));

const changeOf = (number, old, channel) =>
  less(valuesOf(number, channel, 'magnitude_db'), valuesOf(old, channel, 'magnitude_db'));

function valuesOf(number, channel, quantity) {
  if (quantity === 'difference_db') {
    return less(valuesOf(number, 'right', 'magnitude_db'), valuesOf(number, 'left', 'magnitude_db'));
  }
  if (quantity === 'change_db') return changeOf(number, overlaid(), channel);
  const response = responseOf(outputOf(number, channel));
  if (!response) return null;
  if (quantity in response) return response[quantity];
  return response.time && response.time[quantity];
}

const firstOf = (quantity) => (quantity === 'impulse_db' ? 0 : 1);
const hasCurve = (values, quantity) => Boolean(values) && values.some((value, i) => i >= firstOf(quantity) && value !== null);

// What a chart draws of some cases: the quantity of its channel, or of both.
function curvesOf({ panel, quantity }, cases) {
  if (quantity === 'change_db') {
    const [number, old] = cases;
    const values = old !== undefined && isOld(old) ? changeOf(number, old, panel) : null;
    return hasCurve(values, quantity) ? [{ number, channel: panel, values, label: 'New less old' }] : [];
  }
  const channels = panel !== 'pair' ? [panel] : quantity === 'difference_db' ? ['pair'] : CHANNELS;
  return cases.flatMap((number) => channels.map((channel) => ({
    number, channel, values: valuesOf(number, channel, quantity),
    label: `${caseTitle(number)}${channels.length > 1 ? `, ${channel}` : ''}`,
  }))).filter((curve) => hasCurve(curve.values, quantity));
}

// The chosen case is drawn through, what it is compared with dashed, an old one in grey; a flat
// channel looks like a warning.
function styleOf(number, channel, panel, shown = state.shown) {
  const output = outputOf(number, channel);
  if (isOld(number)) return { colour: '--old', dash: panel === 'pair' && channel === 'right' ? [2, 3] : [7, 4] };
  if (output && output.state === 'flat') return { colour: '--warning', dash: [5, 4] };
  const colourName = panel === 'pair' && channel === 'right' ? '--muted' : `--line-${number % COLOURS}`;
  return { colour: colourName, dash: number === shown ? [] : [6, 4] };
}

// ---- Scales -----------------------------------------------------------------------------------

const scales = {};

// One scale of a quantity for the whole page: cases are compared at a glance.
function scaleOf(quantity) {
  if (!(quantity in scales)) scales[quantity] = makeScale(quantity);
  return scales[quantity];
}

function makeScale(quantity) {
  const { steps, least, span, share: seen } = QUANTITIES[quantity];
  const values = [];
  const known = new Set();
  const add = (more) => (more || []).forEach((value, i) => {
    if (i >= firstOf(quantity) && value !== null) values.push(value);
  });
  allCases.forEach((each, number) => {
    const key = each.outputs.map((output) => output.response).join();
    if (quantity === 'change_db' || !each.is_in_force || known.has(key)) return;
    known.add(key);
    for (const channel of quantity === 'difference_db' ? ['pair'] : CHANNELS) add(valuesOf(number, channel, quantity));
  });
  for (const pair of quantity === 'change_db' ? against.pairs : []) {
    for (const channel of CHANNELS) add(changeOf(pair.new_case, report.cases.length + pair.old_case, channel));
  }
  if (values.length === 0) return { min: -least, max: least, step: least, isCut: false };
  values.sort((a, b) => a - b);
  const left = Math.floor(values.length * (1 - seen) / 2);
  let lowest = values[left];
  const highest = values[values.length - 1 - left];
  const isCut = highest - lowest > span || left > 0;
  lowest = Math.max(lowest, highest - span);
  // Nor is a curve to run along the frame.
  const padding = Math.max((highest - lowest) / 30, (least - (highest - lowest)) / 2);
  const step = stepOf(steps, highest - lowest + 2 * padding);
  return {
    min: Math.floor((lowest - padding) / step) * step,
    max: Math.ceil((highest + padding) / step) * step,
    step,
    isCut,
  };
}

// Of the steps the first that makes six at most.
function stepOf(steps, range) {
  const largest = steps[steps.length - 1];
  return steps.find((step) => range / step <= 6) || Math.ceil(range / 6 / largest) * largest;
}

function lastBin() {
  const bins = shownCases().flatMap((number) => CHANNELS.map((channel) => {
    const response = responseOf(outputOf(number, channel));
    return response ? response.real.length : 0;
  }));
  return Math.max(1, ...bins) - 1;
}

function buildViews() {
  byId('views').append(...Object.entries(VIEWS).map(([view, { title }]) => make('label', {},
    make('input', { type: 'radio', name: 'view', value: view, onchange: () => { state.view = view; renderResponses(); } }),
    make('span', {}, title))));
}
