// ---- Designs ----------------------------------------------------------------------------------

// Of a page that `tavi build` made: what was measured, what was wanted, what came of it.
const designCharts = {};
const DESIGN_CURVES = [
  { key: 'measured_db', label: 'measured', colour: '--line-1', dash: [] },
  { key: 'target_db', label: 'target', colour: '--muted', dash: [2, 3] },
  { key: 'correction_db', label: 'correction', colour: '--line-2', dash: [6, 4] },
  { key: 'corrected_db', label: 'corrected', colour: '--line-0', dash: [] },
];
const MASK = { label: 'limits of the mask', colour: '--line-3', dash: [10, 3] };

const designs = report.build ? report.build.designs : [];
const designed = [...new Set(designs.map((each) => each.case))];  // cases
const designOf = (number, channel) => designs.find((each) => each.case === number && each.channel === channel);

function designDatasets(design) {
  const line = ({ label, colour: name, dash }, points) => ({
    label, data: points, borderColor: colour(name), backgroundColor: colour(name),
    borderWidth: label === 'corrected' ? 2.5 : 1.5, borderDash: dash, pointRadius: 0,
  });
  const limit = (label, { frequency_hz: hz, db }) => line({ ...MASK, label }, hz.map((x, i) => ({ x, y: db[i] })));
  return [
    ...DESIGN_CURVES.map((curve) =>
      line(curve, design.frequency_hz.map((x, i) => ({ x, y: design[curve.key][i] })))),
    ...(design.mask ? [limit('mask, upper limit', design.mask.upper), limit('mask, lower limit', design.mask.lower)] : []),
  ];
}

function designText(design) {
  const [from, to] = design.corrected;
  const mask = design.mask
    ? ` ${visible(design.mask.name)}: margin ${decimal(design.mask.margin_before_db, 1)} dB before, ${decimal(design.mask.margin_after_db, 1)} dB after; the level floats.`
    : '';
  return `Corrected from ${hertz(from)} to ${hertz(to)}; dB relative to the measured level there.${mask}`;
}

const designRange = () => [100, Math.min(20000, report.rate_hz / 2)];

// One scale for all, of what matters: a loudspeaker's slopes may leave it.
function designScale() {
  const [from, to] = designRange();
  const values = designs.flatMap((design) => DESIGN_CURVES.flatMap(({ key }) =>
    design[key].filter((_, i) => design.frequency_hz[i] >= from && design.frequency_hz[i] <= to)));
  const STEP = 6;
  const max = Math.ceil((values.reduce((high, value) => Math.max(high, value), 0) + 1) / STEP) * STEP;
  const lowest = values.reduce((low, value) => Math.min(low, value), 0);
  return { min: Math.max(Math.floor((lowest - 1) / STEP) * STEP, max - 7 * STEP), max };
}

function designFigure(design, channel, canvas) {
  const entry = ({ label, colour: name, dash }) => {
    const line = make('span', { class: ['line', dash.length === 0 ? '' : dash[0] < 4 ? 'dotted' : 'dashed'].join(' '), 'aria-hidden': 'true' });
    line.style.setProperty('--line', `var(${name})`);
    return make('li', {}, line, label);
  };
  const title = make('figcaption', {}, make('h3', {}, CHANNEL_TITLES[channel]),
    make('p', { class: 'hint' }, design ? designText(design) : 'Not made from a measurement.'));
  const figure = make('figure', { class: 'channel' }, title);
  if (design) {
    figure.append(make('ul', { class: 'legend' }, ...[...DESIGN_CURVES, ...(design.mask ? [MASK] : [])].map(entry)),
      make('div', { class: 'plots' }, make('div', { class: 'plot design' }, canvas)));
  }
  return figure;
}

function makeDesignChart(design, canvas, more) {
  const axis = (text, rest) => ({
    title: { display: true, text, color: colour('--muted') },
    grid: { color: colour('--grid'), borderColor: colour('--rule') }, ...rest,
  });
  const [from, to] = designRange();
  return new Chart(canvas, {
    type: 'line',
    data: { datasets: designDatasets(design) },
    options: {
      animation: false, responsive: true, maintainAspectRatio: false, parsing: false, normalized: true,
      interaction: { mode: 'nearest', axis: 'x', intersect: false },
      scales: {
        x: axis('Frequency, Hz', {
          type: 'logarithmic', min: from, max: to,
          afterBuildTicks: (built) => { built.ticks = frequencyTicks(from, to); },
          ticks: { color: colour('--muted'), autoSkip: false, maxRotation: 0, callback(value) { return frequencyLabel(value, this); } },
        }),
        y: axis('dB', {
          type: 'linear', ...designScale(),
          ticks: { color: colour('--muted'), stepSize: 6, callback: (value) => number(value) },
        }),
      },
      plugins: {
        legend: { display: false },
        tooltip: {
          backgroundColor: colour('--tip'), titleColor: colour('--tip-text'), bodyColor: colour('--tip-text'),
          callbacks: {
            title: (items) => (items.length === 0 ? '' : hertz(items[0].parsed.x)),
            label: ({ dataset: { label }, parsed: { y } }) => ` ${label}: ${decimal(y, 2)} dB`,
          },
        },
      },
      ...more,
    },
  });
}

function renderDesigns() {
  const picked = Number(byId('designed').value);
  for (const channel of CHANNELS) {
    const design = designOf(picked, channel);
    if (designCharts[channel]) designCharts[channel].destroy();
    const canvas = make('canvas', { role: 'img', 'aria-label': `${CHANNEL_TITLES[channel]}: measured, target, correction and corrected` });
    byId(`design-${channel}`).replaceChildren(designFigure(design, channel, canvas));
    designCharts[channel] = design ? makeDesignChart(design, canvas) : null;
  }
}

function buildDesigns() {
  if (designed.length === 0) return;
  byId('designs').hidden = false;
  byId('designed').append(...designed.map((number) => make('option', { value: number }, visible(report.build.postures[number]))));
  byId('designed').addEventListener('change', renderDesigns);
  renderDesigns();
}
