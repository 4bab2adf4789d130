function dataset(number, channel, quantity) {
  const values = responseOf(outputOf(number, channel))[quantity];
  const at = (bin) => (bin > 0 && bin < values.length ? values[bin] : null);
  const line = colour(`--line-${number % COLOURS}`);
  return {
    label: `Case ${number}`,
    caseNumber: number,
    data: values.slice(1).map((y, i) => ({ x: report.frequency_hz[i + 1], y: y === null ? NaN : y })),
    borderColor: line,
    backgroundColor: line,
    borderWidth: number === state.shown ? 2 : 1.75,
    borderDash: number === state.shown ? [] : [6, 4],
    order: number === state.shown ? 0 : 1,
    // A bin between two gaps makes no line.
    pointRadius: values.slice(1).map((_, i) => (at(i) === null && at(i + 2) === null ? 2 : 0)),
  };
}

function verticalRange(quantity, channels) {
  let lowest = Infinity;
  let highest = -Infinity;
  for (const channel of channels) {
    for (const number of drawnCases(channel)) {
      const values = responseOf(outputOf(number, channel))[quantity];
      for (let bin = 1; bin < values.length; ++bin) {
        if (values[bin] === null) continue;
        lowest = Math.min(lowest, values[bin]);
        highest = Math.max(highest, values[bin]);
      }
    }
  }
  if (lowest > highest) return { min: -6, max: 6, step: 6, isCut: false };
  const isMagnitude = quantity === 'magnitude_db';
  const isCut = isMagnitude && highest - lowest > MAGNITUDE_SPAN;
  if (isCut) lowest = highest - MAGNITUDE_SPAN;
  const least = isMagnitude ? 6 : 90;  // a curve that hardly moves is to look so
  // Nor is a curve to run along the frame.
  const padding = Math.max((highest - lowest) / 30, (least - (highest - lowest)) / 2);
  const steps = isMagnitude ? [1, 2, 3, 6, 10, 20] : [15, 30, 45, 90, 180, 360, 720];
  let step = steps.find((candidate) => (highest - lowest + 2 * padding) / candidate <= 6);
  if (step === undefined) step = Math.ceil((highest - lowest) / 6 / 360) * 360;
  return {
    min: Math.floor((lowest - padding) / step) * step,
    max: Math.ceil((highest + padding) / step) * step,
    step,
    isCut,
  };
}

function lastBin() {
  const bins = shownCases().flatMap((number) => CHANNELS.map((channel) => {
    const response = responseOf(outputOf(number, channel));
    return response ? response.real.length : 0;
  }));
  return Math.max(1, ...bins) - 1;
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

function makeChart(channel, quantity, canvas) {
  const title = quantity === 'magnitude_db' ? 'Magnitude, dB' : 'Phase, degrees';
  const chart = new Chart(canvas, {
    type: 'line',
    data: { datasets: [] },
    options: {
      animation: false,
      responsive: true,
      maintainAspectRatio: false,
      parsing: false,
      normalized: true,
      interaction: { mode: 'index', axis: 'x', intersect: false },
      elements: { point: { hoverRadius: 4, hitRadius: 0 }, line: { tension: 0 } },
      onHover: (event, active) => setBin(active.length > 0 ? active[0].index + 1 : null, chart),
      scales: {
        x: {
          type: 'logarithmic',
          title: { display: quantity !== 'magnitude_db', text: 'Frequency, Hz' },
          ticks: {
            autoSkip: false,
            maxRotation: 0,
            callback(value) { return frequencyLabel(value, this); },
          },
          afterBuildTicks: (axis) => { axis.ticks = frequencyTicks(axis.min, axis.max); },
        },
        y: {
          type: 'linear',
          title: { display: true, text: title },
          ticks: { callback: (value) => number(value) },
          // The same room for the labels in every chart: the frequencies stand below each other.
          afterFit: (axis) => { axis.width = 74; },
        },
      },
      plugins: {
        legend: { display: false },
        tooltip: {
          callbacks: {
            title: (items) => (items.length === 0 ? ''
              : `Bin ${items[0].dataIndex + 1}, ${hertz(report.frequency_hz[items[0].dataIndex + 1])}`),
            label: (item) => {
              const response = responseOf(outputOf(item.dataset.caseNumber, channel));
              return ` ${item.dataset.label}: ${exactText(response, item.dataIndex + 1)[0]}`;
            },
          },
        },
      },
    },
  });
  canvas.addEventListener('keydown', (event) => onChartKey(event, chart));
  canvas.addEventListener('blur', () => { chart.tooltip.setActiveElements([], { x: 0, y: 0 }); chart.draw(); });
  return chart;
}

function buildChannels() {
  for (const channel of CHANNELS) {
    charts[channel] = {};
    legends[channel] = make('ul', { class: 'legend' });
    notices[channel] = make('div', { class: 'notices' });
    readouts[channel] = make('table', { class: 'readout', 'aria-label': `${CHANNEL_TITLES[channel]}: exact values` });
    plots[channel] = make('div', { class: 'plots' });
    for (const quantity of QUANTITIES) {
      const name = quantity === 'magnitude_db' ? 'magnitude' : 'phase';
      const canvas = make('canvas', { id: `${channel}-${name}`, tabindex: '0', role: 'slider',
        'aria-label': `${CHANNEL_TITLES[channel]}, ${name}: bin`, 'aria-valuemin': '1' });
      plots[channel].append(make('div', { class: `plot ${name}` }, canvas));
    }
    byId(channel).append(make('figcaption', {}, make('h3', {}, CHANNEL_TITLES[channel])),
      legends[channel], notices[channel], plots[channel], readouts[channel]);
    for (const quantity of QUANTITIES) {
      const name = quantity === 'magnitude_db' ? 'magnitude' : 'phase';
      charts[channel][quantity] = makeChart(channel, quantity, byId(`${channel}-${name}`));
    }
  }
}

const allCharts = () => CHANNELS.flatMap((channel) => QUANTITIES.map((quantity) => charts[channel][quantity]));

function elementsAt(chart, bin) {
  return chart.data.datasets.map((_, datasetIndex) => ({ datasetIndex, index: bin - 1 })).filter((item) => {
    const element = chart.getDatasetMeta(item.datasetIndex).data[item.index];
    return element && !element.skip;
  });
}

// Marks a bin in every chart; null takes the marks away, and leaves the values of the last one.
function setBin(bin, source, withTooltip = false) {
  if (bin !== null) state.bin = bin;
  for (const chart of allCharts()) {
    if (chart === source && !withTooltip) continue;
    const items = bin === null ? [] : elementsAt(chart, bin);
    chart.setActiveElements(items);
    const isAtPoint = chart === source && items.length > 0;
    const point = isAtPoint ? chart.getDatasetMeta(items[0].datasetIndex).data[items[0].index] : { x: 0, y: 0 };
    chart.tooltip.setActiveElements(isAtPoint ? items : [], { x: point.x, y: point.y });
    chart.draw();
  }
  if (bin !== null) renderBin();
}

function renderBin() {
  for (const channel of CHANNELS) {
    renderReadout(channel);
    const values = drawnCases(channel).map((number) =>
      `case ${number} ${exactText(responseOf(outputOf(number, channel)), state.bin)[0]}`);
    for (const quantity of QUANTITIES) {
      const { canvas } = charts[channel][quantity];
      canvas.setAttribute('aria-valuenow', state.bin);
      canvas.setAttribute('aria-valuemax', lastBin());
      canvas.setAttribute('aria-valuetext',
        `bin ${state.bin}, ${hertz(report.frequency_hz[state.bin] || 0)}: ${values.join('; ')}`);
    }
  }
}

function onChartKey(event, chart) {
  const step = event.shiftKey ? 10 : 1;
  const moves = {
    ArrowRight: state.bin + step, ArrowUp: state.bin + step, ArrowLeft: state.bin - step, ArrowDown: state.bin - step,
    PageUp: state.bin + 10, PageDown: state.bin - 10, Home: 1, End: lastBin(),
  };
  if (event.key === 'Escape') setBin(null, chart, true);
  else if (event.key in moves) setBin(Math.min(lastBin(), Math.max(1, moves[event.key])), chart, true);
  else return;
  event.preventDefault();
}

function buildPickers() {
  const option = (number) => make('option', { value: number },
    `${number}: ${conditionsText(number) || visible(report.cases[number].text)}${report.cases[number].is_in_force ? '' : ' (not in force)'}`);
  const numbers = report.cases.map((_, i) => i);
  byId('shown').append(...numbers.map(option));
  byId('overlay').append(make('option', { value: '' }, 'no other case'), ...numbers.map(option));
  byId('shown').addEventListener('change', () => selectCase(Number(byId('shown').value)));
  byId('overlay').addEventListener('change', () => {
    state.overlay = byId('overlay').value === '' ? null : Number(byId('overlay').value);
    renderResponses();
  });
  document.querySelector('.pickers').hidden = numbers.length === 0;
}

function shownNote() {
  if (state.shown === null) return 'The configuration text holds no case, so there are no responses.';
  const run = runAt(state.hinge, state.rotation);
  if (state.shown === run.taken) return 'The case that the selected posture takes.';
  if (state.shown === run.alternate) return 'The case that alternates with the one taken in the selected posture.';
  if (runs.some((each) => each.taken === state.shown || each.alternate === state.shown)) return 'Not the case of the selected posture.';
  return report.cases[state.shown].is_in_force ? 'No posture ever takes this case.' : 'This case is not in force.';
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
  byId('shown-note').textContent = shownNote();
  state.bin = Math.min(state.bin, Math.max(1, lastBin()));

  // Magnitudes have the same range in both channels, to compare at a glance. The phase of a channel
  // that is held back would leave nothing to see of the other one's.
  const magnitudeRange = verticalRange('magnitude_db', CHANNELS);
  const cut = magnitudeRange.isCut
    ? ` Bins more than ${MAGNITUDE_SPAN} dB below the highest one lie below the plot.` : '';
  byId('axis-note').hidden = !CHANNELS.some((channel) => drawnCases(channel).length > 0);
  byId('axis-note').textContent = `Frequencies at a sampling rate of ${report.rate_hz} Hz. The phase is unwrapped. Bin 0 (0 Hz) has no place on a logarithmic axis: the tables give its value, and that of the bin under the pointer (arrow keys move it).${cut}`;
  const frequencies = report.frequency_hz;
  for (const channel of CHANNELS) {
    const drawn = drawnCases(channel);
    byId(channel).hidden = state.shown === null;
    legends[channel].replaceChildren(...shownCases().map((number) => legendEntry(number, channel)));
    notices[channel].replaceChildren(...shownCases().flatMap((number) => noticesOf(number, channel)));
    notices[channel].classList.toggle('in-place', drawn.length === 0);
    plots[channel].hidden = drawn.length === 0;
    for (const quantity of QUANTITIES) {
      const range = quantity === 'magnitude_db' ? magnitudeRange : verticalRange(quantity, [channel]);
      const chart = charts[channel][quantity];
      chart.setActiveElements([]);
      chart.data.datasets = drawn.map((number) => dataset(number, channel, quantity));
      const { x, y } = chart.options.scales;
      x.min = frequencies.length > 1 ? frequencies[1] : 1;
      x.max = Math.max(report.rate_hz / 2, frequencies[lastBin()] || 0);
      y.min = range.min;
      y.max = range.max;
      y.ticks.stepSize = range.step;
      chart.update('none');
    }
  }
  renderBin();
  for (const row of document.querySelectorAll('#cases tbody tr')) {
    row.classList.toggle('current', Number(row.dataset.case) === state.shown);
  }
}
