// ---- Charts -----------------------------------------------------------------------------------

const charts = {};  // by id
const legends = {};  // these by panel
const notices = {};
const readouts = {};
const plots = {};
const figures = {};

const idOf = (each) => `${each.panel}-${each.name}`;
const shownCharts = () => CHARTS.filter((each) => each.view === state.view).map((each) => charts[idOf(each)]);

function dataset({ number, channel, values, label }, { panel, quantity, across }, shown = state.shown) {
  const first = firstOf(quantity);
  const at = (i) => (i >= first && i < values.length ? values[i] : null);
  const style = styleOf(number, channel, panel, shown);
  const output = outputOf(number, channel);
  const isFlat = Boolean(output) && output.state === 'flat' && quantity !== 'change_db';
  const line = colour(style.colour);
  const points = values.slice(first);
  const place = AXES[across].at;
  return {
    label: isFlat ? `${label}, flat` : label,
    caseNumber: number,
    channel,
    data: points.map((y, i) => ({ x: place(i + first), y: y === null ? NaN : y })),
    borderColor: line,
    backgroundColor: line,
    borderWidth: isFlat ? 2.5 : number === shown ? 2 : 1.75,
    borderDash: style.dash,
    order: number === shown ? 0 : 1,  // the lowest on top
    // A point between two gaps makes no line.
    pointRadius: points.map((_, i) => ((across === 'hz' && place(i + first) < POINTS_BELOW && !isFlat) ||
      (at(i + first - 1) === null && at(i + first + 1) === null) ? 2 : 0)),
  };
}

// 1, 2, 3, ... 9, 10, 20, ...: a grid line each.
function frequencyTicks(min, max) {
  const ticks = [];
  for (let decade = 10 ** Math.floor(Math.log10(min)); decade <= max; decade *= 10) {
    for (let digit = 1; digit < 10; ++digit) {
      const value = digit * decade;
      if (value >= min && value <= max) ticks.push({ value });
    }
  }
  return ticks;
}

// Of many decades beside each other only the first line of each has room for its label.
function frequencyLabel(value, axis) {
  const decadeWidth = axis.width / Math.log10(axis.max / axis.min);
  const digit = Math.round(value / 10 ** Math.floor(Math.log10(value) + 1e-9));
  if (!(decadeWidth < 100 ? [1] : [1, 2, 5]).includes(digit)) return '';
  return value >= 1000 ? `${Number((value / 1000).toPrecision(3))}k` : `${Number(value.toPrecision(3))}`;
}

// What is behind the curves: the telephone band, or what a block does not play right. And what is
// being dragged over them.
const bands = {
  id: 'bands',
  beforeDraw(chart) {
    const { ctx, chartArea: area, scales: { x } } = chart;
    const [from, to, text] = chart.across === 'hz' ? [...TELEPHONE_BAND, 'telephone band'] : [PLAYED_TAPS - 0.5, 511, 'beyond 257 taps'];
    const left = Math.max(area.left, x.getPixelForValue(from));
    const right = Math.min(area.right, x.getPixelForValue(to));
    chart.band = null;
    if (!(right > left)) return;
    ctx.save();
    ctx.fillStyle = colour('--band');
    ctx.fillRect(left, area.top, right - left, area.bottom - area.top);
    ctx.restore();
    chart.band = { left, right, text };
  },
  // Above the lines of the grid.
  beforeDatasetsDraw({ ctx, chartArea: area, band }) {
    if (!band) return;
    const { left, right, text } = band;
    ctx.save();
    ctx.font = `11px ${Chart.defaults.font.family}`;
    ctx.textBaseline = 'top';
    const { width } = ctx.measureText(text);
    if (right - left > width + 8) {
      ctx.fillStyle = colour('--band');
      ctx.fillRect(left + 2, area.top + 1, width + 4, 14);
      ctx.fillStyle = colour('--muted');
      ctx.fillText(text, left + 4, area.top + 3);
    }
    ctx.restore();
  },
  afterDraw(chart) {
    if (!chart.drag) return;
    const { ctx, drag: { from, to } } = chart;
    ctx.save();
    ctx.strokeStyle = colour('--accent');
    ctx.lineWidth = 1.5;
    ctx.strokeRect(from.x, from.y, to.x - from.x, to.y - from.y);
    ctx.restore();
  },
};

function chartOptions(each) {
  const axis = AXES[each.across];
  return {
    animation: false,
    responsive: true,
    maintainAspectRatio: false,
    parsing: false,
    normalized: true,
    interaction: { mode: 'index', axis: 'x', intersect: false },
    elements: { point: { hoverRadius: 4, hitRadius: 0 }, line: { tension: 0 } },
    onHover: (event, active, chart) => setIndex(each.across, active.length > 0 ? active[0].index + axis.first : null, chart),
    scales: {
      x: {
        type: each.across === 'hz' ? 'logarithmic' : 'linear',
        // Of charts below each other the last has it.
        title: { display: !['magnitude', 'change'].includes(each.name), text: axis.title },
        ticks: each.across === 'hz' ? {
          autoSkip: false,
          maxRotation: 0,
          callback(value) { return frequencyLabel(value, this); },
        } : { maxRotation: 0, precision: 0, includeBounds: false },
        ...(each.across === 'hz' ? { afterBuildTicks: (built) => { built.ticks = frequencyTicks(built.min, built.max); } } : {}),
      },
      y: {
        type: 'linear',
        title: { display: true, text: QUANTITIES[each.quantity].title },
        ticks: { includeBounds: false, callback: (value) => number(Number(value.toFixed(6))) },
        // The same room for the labels in every chart: the frequencies stand below each other.
        afterFit: (built) => { built.width = 74; },
      },
    },
    plugins: {
      legend: { display: false },
      tooltip: {
        callbacks: {
          title: (items) => {
            if (items.length === 0) return '';
            const index = items[0].dataIndex + axis.first;
            return `${axis.name(index)}, ${axis.place(index)}`;
          },
          label: ({ dataset: { label, caseNumber, channel }, dataIndex }) =>
            ` ${label}: ${valueText(caseNumber, channel, each.quantity, dataIndex + axis.first)[0]}`,
        },
      },
    },
  };
}

// Puts the curves of some cases on a chart, and as much of the axes as is to be seen.
function fill(chart, each, cases, shown = state.shown) {
  chart.data.datasets = curvesOf(each, cases).map((curve) => dataset(curve, each, shown));
  const { x, y } = chart.options.scales;
  [x.min, x.max] = windowOf(each.across);
  [y.min, y.max] = windowOf(each.quantity);
  y.ticks.stepSize = stepOf(QUANTITIES[each.quantity].steps, y.max - y.min);
  dress(chart);
}

// In the colours of the theme.
function dress(chart) {
  for (const axis of Object.values(chart.options.scales)) {
    axis.grid = { color: colour('--grid'), borderColor: colour('--rule') };
    axis.ticks.color = colour('--muted');
    axis.title.color = colour('--muted');
  }
  Object.assign(chart.options.plugins.tooltip, {
    backgroundColor: colour('--tip'), titleColor: colour('--tip-text'), bodyColor: colour('--tip-text'),
  });
}

function makeChart(each, canvas, options = chartOptions(each)) {
  const chart = new Chart(canvas, { type: 'line', data: { datasets: [] }, options, plugins: [bands] });
  chart.across = each.across;
  return chart;
}

function buildPanels() {
  for (const panel of PANELS) {
    legends[panel] = make('ul', { class: 'legend' });
    notices[panel] = make('div', { class: 'notices' });
    readouts[panel] = make('table', { class: 'readout', 'aria-label': `${CHANNEL_TITLES[panel]}: exact values` });
    plots[panel] = make('div', { class: 'plots' });
    figures[panel] = make('div', { class: 'time' });
    byId(panel).append(make('figcaption', {}, make('h3', {}, CHANNEL_TITLES[panel])),
      legends[panel], notices[panel], plots[panel], readouts[panel], figures[panel]);
  }
  for (const each of CHARTS) {
    const axis = AXES[each.across];
    const canvas = make('canvas', { id: idOf(each), tabindex: '0', role: 'slider',
      'aria-label': `${CHANNEL_TITLES[each.panel]}, ${QUANTITIES[each.quantity].title}: ${each.across === 'hz' ? 'bin' : 'sample'}`,
      'aria-valuemin': axis.first });
    plots[each.panel].append(make('div', { class: `plot ${each.name}`, 'data-view': each.view }, canvas));
    const chart = makeChart(each, canvas);
    charts[idOf(each)] = chart;
    attachZoom(chart, each);
    canvas.addEventListener('keydown', (event) => onChartKey(event, chart, each));
    canvas.addEventListener('blur', () => { chart.tooltip.setActiveElements([], { x: 0, y: 0 }); chart.draw(); });
  }
  byId('reset-zoom').addEventListener('click', resetZoom);
}

function elementsAt(chart, index) {
  return chart.data.datasets.map((_, datasetIndex) => ({ datasetIndex, index })).filter((item) => {
    const element = chart.getDatasetMeta(item.datasetIndex).data[item.index];
    return element && !element.skip;
  });
}

// Marks a bin or a sample in every chart; null takes the marks away, and leaves the values of the
// last one.
function setIndex(across, index, source, withTooltip = false) {
  if (index !== null) AXES[across].set(index);
  for (const chart of shownCharts()) {
    if (chart === source && !withTooltip) continue;
    const items = index === null ? [] : elementsAt(chart, index - AXES[across].first);
    chart.setActiveElements(items);
    const isAtPoint = chart === source && items.length > 0;
    const point = isAtPoint ? chart.getDatasetMeta(items[0].datasetIndex).data[items[0].index] : { x: 0, y: 0 };
    chart.tooltip.setActiveElements(isAtPoint ? items : [], { x: point.x, y: point.y });
    chart.draw();
  }
  if (index !== null) renderIndex();
}

function renderIndex() {
  for (const panel of shownPanels()) {
    renderReadout(panel);
    for (const each of chartsOf(panel)) {
      const axis = AXES[each.across];
      const index = axis.index();
      const values = curvesOf(each, shownCases()).map((curve) =>
        `${curve.label.toLowerCase()} ${valueText(curve.number, curve.channel, each.quantity, index)[0]}`);
      const { canvas } = charts[idOf(each)];
      canvas.setAttribute('aria-valuenow', index);
      canvas.setAttribute('aria-valuemax', axis.last());
      canvas.setAttribute('aria-valuetext', `${axis.name(index).toLowerCase()}, ${axis.place(index)}: ${values.join('; ')}`);
    }
  }
}

function onChartKey(event, chart, each) {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  const { first, last, index, at } = AXES[each.across];
  const step = event.shiftKey ? 10 : 1;
  const moves = {
    ArrowRight: index() + step, ArrowUp: index() + step, ArrowLeft: index() - step, ArrowDown: index() - step,
    PageUp: index() + 10, PageDown: index() - 10, Home: first, End: last(),
  };
  if (event.key === 'Escape') setIndex(each.across, null, chart, true);
  else if (event.key in moves) {
    const next = Math.min(last(), Math.max(first, moves[event.key]));
    AXES[each.across].set(next);
    if (keepInWindow(each.across, at(next))) renderResponses();
    setIndex(each.across, next, chart, true);
    keepAddress();
  } else if (!onZoomKey(event, each)) return;
  event.preventDefault();
}

function buildPickers() {
  const option = (number) => make('option', { value: number },
    `${number}: ${conditionsText(number) || visible(report.cases[number].text)}${report.cases[number].is_in_force ? '' : ' (not in force)'}`);
  const numbers = report.cases.map((_, i) => i);
  byId('shown').append(...numbers.map(option));
  byId('overlay').append(make('option', { value: '' }, 'no other case'),
    ...(against ? [make('option', { value: OLD }, `the old one, of ${visible(against.name)}`)] : []), ...numbers.map(option));
  byId('shown').addEventListener('change', () => selectCase(Number(byId('shown').value)));
  byId('overlay').addEventListener('change', () => {
    const { value } = byId('overlay');
    state.overlay = value === '' ? null : value === OLD ? OLD : Number(value);
    renderResponses();
  });
  document.querySelector('.pickers').hidden = numbers.length === 0;
}

function shownNote() {
  if (state.shown === null) return 'The configuration text holds no case, so there are no responses.';
  const old = state.overlay === OLD && overlaid() === null && report.cases[state.shown].is_in_force ? ' There was no such case: it has no old curves.' : '';
  return placeNote() + old;
}

function placeNote() {
  const run = runAt(state.hinge, state.rotation);
  if (state.shown === run.taken) return 'The case that the selected posture takes.';
  if (state.shown === run.alternate) return 'The case that alternates with the one taken in the selected posture.';
  if (runs.some((each) => each.taken === state.shown || each.alternate === state.shown)) return 'Not the case of the selected posture.';
  return report.cases[state.shown].is_in_force ? 'No posture ever takes this case.' : 'This case is not in force.';
}

// What the axes are, and what of the values they leave out.
function axisNote() {
  const quantities = CHARTS.filter((each) => each.view === state.view).map((each) => each.quantity);
  const cut = quantities.some((quantity) => scaleOf(quantity).isCut)
    ? ' Values far outside of the rest lie outside of the plot.' : '';
  const axis = state.view === 'impulse'
    ? `The filter that ${DSP_BINS} bins stand for, on a circle of 512 samples; ${Number((report.rate_hz / 1000).toFixed(3))} of them are 1 ms. What is shaded, a DSP that works in blocks of 512 samples with a hop of 256 does not play right.`
    : `Frequencies at a sampling rate of ${report.rate_hz} Hz; below ${POINTS_BELOW} Hz each bin is a point.`;
  const unwrapped = state.view !== 'response' ? ''
    : ' The phase is unwrapped. Bin 0 (0 Hz) has no place on a logarithmic axis: the tables give its value.';
  return `${axis}${unwrapped} One scale for all cases.${cut}`;
}

function renderResponses() {
  if (state.overlay === state.shown) state.overlay = null;
  if (state.shown !== null) {
    byId('shown').value = state.shown;
    byId('overlay').value = state.overlay === null ? '' : state.overlay;
    for (const option of byId('overlay').options) {
      option.hidden = option.value === String(state.shown);
      option.disabled = option.hidden;
    }
  }
  for (const input of document.querySelectorAll('#views input')) input.checked = input.value === state.view;
  byId('shown-note').textContent = shownNote();
  state.bin = Math.min(state.bin, Math.max(1, lastBin()));
  const cases = shownCases();
  const isDrawn = (panel) => chartsOf(panel).some((each) => curvesOf(each, cases).length > 0);
  byId('chart-help').hidden = !shownPanels().some(isDrawn);
  byId('axis-note').textContent = axisNote();
  byId('reset-zoom').disabled = Object.keys(state.zoom).length === 0;
  for (const panel of PANELS) byId(panel).hidden = state.shown === null || !shownPanels().includes(panel);
  for (const panel of shownPanels()) {
    legends[panel].replaceChildren(...legendEntries(cases, panel));
    notices[panel].replaceChildren(...cases.flatMap((each) => (panel !== 'pair' ? noticesOf(each, panel)
      : CHANNELS.flatMap((channel) => noticesOf(each, channel, true)))));
    notices[panel].classList.toggle('in-place', !isDrawn(panel));
    plots[panel].hidden = !isDrawn(panel);
    figures[panel].replaceChildren(...figuresOf(cases, panel));
    for (const plot of plots[panel].children) {
      plot.hidden = plot.dataset.view !== state.view || (plot.classList.contains('change') && !cases.some(isOld));
    }
    for (const each of chartsOf(panel)) {
      const chart = charts[idOf(each)];
      chart.setActiveElements([]);
      fill(chart, each, cases);
      chart.update('none');
    }
  }
  renderIndex();
  for (const row of document.querySelectorAll('#cases tbody tr')) {
    row.classList.toggle('current', Number(row.dataset.case) === state.shown);
  }
  keepAddress();
}
