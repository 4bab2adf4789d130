// ---- Designs ----------------------------------------------------------------------------------

// Of a page that `tavi build` made: what was measured, what was wanted, what came of it.
const designCharts = {};
const DESIGN_CURVES = [
  { key: 'measured_db', label: 'measured', colour: '--line-1', dash: [] },
  { key: 'target_db', label: 'target', colour: '--muted', dash: [2, 3] },
  { key: 'correction_db', label: 'correction', colour: '--line-2', dash: [6, 4] },
  { key: 'corrected_db', label: 'corrected', colour: '--line-0', dash: [] },
];

function designDatasets(design) {
  const line = ({ label, colour: name, dash }, points) => ({
    label, data: points, borderColor: colour(name), backgroundColor: colour(name),
    borderWidth: label === 'corrected' ? 2.5 : 1.5, borderDash: dash, pointRadius: 0,
  });
  const limit = (label, { frequency_hz: hz, db }) =>
    line({ label, colour: '--warning', dash: [8, 3] }, hz.map((x, i) => ({ x, y: db[i] })));
  return [
    ...DESIGN_CURVES.map((curve) =>
      line(curve, design.frequency_hz.map((x, i) => ({ x, y: design[curve.key][i] })))),
    ...(design.mask ? [limit('mask, upper limit', design.mask.upper), limit('mask, lower limit', design.mask.lower)] : []),
  ];
}

function designText(design) {
  const [from, to] = design.corrected;
  const mask = design.mask
    ? ` ${design.mask.name}: margin ${decimal(design.mask.margin_before_db, 1)} dB before, ${decimal(design.mask.margin_after_db, 1)} dB after; the level floats.`
    : '';
  return `Corrected from ${hertz(from)} to ${hertz(to)}; dB relative to the measured level there.${mask}`;
}

function renderDesigns(picked) {
  for (const channel of ['left', 'right']) {
    const figure = byId(`design-${channel}`);
    const design = report.build.designs.find((each) => each.case === picked && each.channel === channel);
    if (designCharts[channel]) designCharts[channel].destroy();
    delete designCharts[channel];
    const title = make('figcaption', {}, make('h3', {}, channel === 'left' ? 'Left channel' : 'Right channel'));
    if (!design) {
      figure.replaceChildren(title, make('p', { class: 'hint' }, 'Not made from a measurement.'));
      continue;
    }
    const canvas = make('canvas', { role: 'img', 'aria-label': `${channel}: measured, target, correction and corrected` });
    const frame = make('div', { class: 'plot' }, canvas);
    frame.style.height = '320px';
    figure.replaceChildren(title, make('p', { class: 'hint' }, designText(design)), frame);
    const axis = (text, more) => ({
      title: { display: true, text, color: colour('--muted') },
      grid: { color: colour('--grid'), borderColor: colour('--rule') }, ...more,
    });
    designCharts[channel] = new Chart(canvas, {
      type: 'line',
      data: { datasets: designDatasets(design) },
      options: {
        animation: false, responsive: true, maintainAspectRatio: false, parsing: false, normalized: true,
        interaction: { mode: 'nearest', axis: 'x', intersect: false },
        scales: {
          x: axis('Frequency in Hz', {
            type: 'logarithmic', min: 100, max: 20000,
            afterBuildTicks: (built) => {
              built.ticks = [100, 200, 500, 1000, 2000, 5000, 10000, 20000].map((value) => ({ value }));
            },
            ticks: {
              color: colour('--muted'), autoSkip: false, maxRotation: 0,
              callback: (value) => (value >= 1000 ? `${value / 1000}k` : `${value}`),
            },
          }),
          y: axis('dB', { type: 'linear', min: -24, max: 18, ticks: { color: colour('--muted'), stepSize: 6 } }),
        },
        plugins: { legend: { position: 'bottom', labels: { color: colour('--muted'), boxHeight: 1 } } },
      },
    });
  }
}

if (report.build && report.build.designs.length > 0) {
  const select = make('select', { id: 'designed' },
    ...report.build.postures.map((name, i) => make('option', { value: `${i}` }, name)));
  const render = () => renderDesigns(Number(select.value));
  const section = make('section', { 'aria-labelledby': 'designs-title' },
    make('h2', { id: 'designs-title', tabindex: '-1' }, 'Designs'),
    make('div', { class: 'pickers' }, make('label', {}, 'Posture ', select)),
    make('div', { class: 'channels' },
      make('figure', { id: 'design-left', class: 'channel' }), make('figure', { id: 'design-right', class: 'channel' })));
  byId('findings-title').parentElement.before(section);
  select.addEventListener('change', render);
  render();
  window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', render);
}
