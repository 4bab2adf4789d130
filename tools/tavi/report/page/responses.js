// ---- Responses --------------------------------------------------------------------------------

const outputOf = (number, channel) => (number === null ? undefined
  : allCases[number].outputs.find((output) => output.channel === channel));
const responseOf = (output) => (output && output.response !== null ? report.responses[output.response] : null);
// The cases on show: the chosen one and what it is compared with.
const overlaid = () => (state.overlay !== OLD ? state.overlay
  : state.shown === null ? null : oldOf(state.shown, runAt(state.hinge, state.rotation)));
const shownCases = () => [state.shown, overlaid()].filter((number) => number !== null);

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function binsWhere(response, isWanted) {
  return response.real.map((_, bin) => bin).filter((bin) => isWanted(response.real[bin], response.imaginary[bin]));
}

const isNotANumber = (real, imaginary) => real === null || imaginary === null;
const isZero = (real, imaginary) => real === 0 && imaginary === 0;

function noticesOf(number, channel, withChannel = false) {
  const title = make('strong', {}, `${caseTitle(number)}${withChannel ? `, ${channel},` : ''}`);
  const notice = (kind, ...text) => make('p', { class: `notice ${kind}` }, title.cloneNode(true), ...text);
  if (!allCases[number].is_in_force) {
    return [notice('error', ' is not in force: the module does not read its files.')];
  }
  const output = outputOf(number, channel);
  const response = responseOf(output);
  if (output.state === 'flat') {
    return [notice('warning', ' is sent flat: ', `${count(response.real.length, 'bin')} of 1 + 0i, for `,
      fileName(output), isOld(number) ? ' could not be used.' : ' cannot be used. The findings say why.')];
  }
  if (output.state === 'empty') {
    return [notice('error', ' is not sent on this channel: ', fileName(output),
      ' holds no data. The DSP keeps the response it has.')];
  }
  const result = [];
  if (output.state === 'not-finite') {
    const bins = binsWhere(response, isNotANumber);
    result.push(notice('error', ` is not finite: ${bins.length === 1 ? 'bin' : 'bins'} ${ranges(bins)} of `,
      fileName(output), ` ${bins.length === 1 ? 'holds' : 'hold'} NaN, which is sent as it is.`,
      hasCurve(response.magnitude_db, 'magnitude_db') ? ' The curve has gaps there.' : ''));
  }
  const zeros = binsWhere(response, isZero).filter((bin) => bin > 0);
  const outside = response.real.length - DSP_BINS;
  if (outside > 0) {
    const from = outside === 1 ? `bin ${DSP_BINS} is` : `bins ${DSP_BINS} to ${response.real.length - 1} are`;
    result.push(notice('note', `: ${from} beyond half the sampling rate and more than the DSP works with.`));
  }
  if (zeros.length > 0 && zeros.length === response.real.length - 1) {
    result.push(notice('note', ' has magnitude 0 in every bin above 0, which is no value in dB: there is no curve.'));
  } else if (zeros.length > 0) {
    result.push(notice('note', ` has magnitude 0 in ${zeros.length === 1 ? 'bin' : 'bins'} ${ranges(zeros)}, which is no value in dB: a gap in the curve.`));
  }
  if (response.real.length === 1) {
    result.push(notice('note', ' has bin 0 only, which a logarithmic axis has no place for.'));
  }
  if (isOfTime() && response.time === null) {
    result.push(notice('note', ` has not ${DSP_BINS} finite bins: what it is in time is not known.`));
  }
  return result;
}

function exactText(response, bin) {
  if (bin >= response.real.length) return ['no such bin', ''];
  const real = response.real[bin];
  const imaginary = response.imaginary[bin];
  const part = (value) => (value === null ? 'NaN' : number(Math.abs(value)));
  const sign = imaginary !== null && imaginary < 0 ? '\u2212' : '+';
  const complex = `${real === null ? 'NaN' : number(real)} ${sign} ${part(imaginary)}i`;
  if (isNotANumber(real, imaginary)) return ['not a number', complex];
  if (isZero(real, imaginary)) return ['magnitude 0, no phase', complex];
  return [`${decimal(response.magnitude_db[bin], 3)} dB, ${decimal(response.phase_degrees[bin], 2)}\u00b0`, complex];
}

// What a value of a quantity is at an index, in words, and what it was made of.
function valueText(number, panel, quantity, index) {
  if (panel !== 'pair' && (quantity === 'magnitude_db' || quantity === 'phase_degrees')) {
    const response = responseOf(outputOf(number, panel));
    return response ? exactText(response, index) : ['not sent', ''];
  }
  const values = valuesOf(number, panel, quantity);
  if (!values || index >= values.length || values[index] === null) return ['none', ''];
  const { unit, digits } = QUANTITIES[quantity];
  return [`${decimal(values[index], digits)} ${unit}`, ''];
}

function renderReadout(panel) {
  const shown = shownCases();
  const { across, quantity } = chartsOf(panel)[0];
  const columns = panel !== 'pair' ? shown.map((number) => [caseTitle(number), number, panel, quantity])
    .concat(quantity === 'magnitude_db' && shown.some(isOld) ? [['New less old', state.shown, panel, 'change_db']] : [])
    : shown.flatMap((number) => [[`${caseTitle(number)}, left`, number, 'left', 'magnitude_db'],
      ['right', number, 'right', 'magnitude_db'], ['right less left', number, 'pair', 'difference_db']]);
  const row = (index) => make('tr', {}, make('th', { scope: 'row' }, AXES[across].name(index),
    make('span', { class: 'complex' }, AXES[across].place(index))),
  ...columns.map(([title, number, ofPanel, ofQuantity]) => {
    const [value, detail] = valueText(number, ofPanel, ofQuantity, index);
    return make('td', { 'data-title': title }, make('span', { class: 'exact' }, value),
      panel === 'pair' ? null : make('span', { class: 'complex' }, detail));
  }));
  const index = AXES[across].index();
  const known = shown.some((number) => panel === 'pair' || responseOf(outputOf(number, panel)));
  const rows = across === 'samples' ? [index] : report.frequency_hz.length === 0 ? []
    : report.frequency_hz.length === 1 ? [0] : quantity === 'magnitude_db' && panel !== 'pair' ? [0, index] : [index];
  readouts[panel].replaceChildren(
    make('thead', {}, make('tr', {}, make('th', { scope: 'col' }, ''),
      ...columns.map(([title]) => make('th', { scope: 'col' }, title)))),
    make('tbody', {}, ...rows.map(row)));
  readouts[panel].hidden = rows.length === 0 || !known;
}

// ---- What a filter is in time -----------------------------------------------------------------

const share = (value) => (value === null ? 'nothing' : `${decimal(value, 1)} dB`);
const arcText = ({ start, length }) => `${count(length, 'sample')} from ${number(start)} on`;

function timeFigures(shown, channel) {
  const times = shown.map((each) => [each, responseOf(outputOf(each, channel))]).filter(([, response]) => response && response.time);
  if (times.length === 0) return [];
  const rows = [
    ['Energy outside of the first 257 taps', (time) => share(time.late_energy_db)],
    ['Energy earlier than 1 ms before the peak', (time) => share(time.early_energy_db)],
    ['All but \u221230 dB of the energy', (time) => arcText(time.arc_30db)],
    ['All but \u221260 dB of the energy', (time) => arcText(time.arc_60db)],
    ['Delay (centre of energy)', (time) => `${decimal(time.delay_ms, 3)} ms`],
    ['Gain of a signal\u2019s samples, at worst', (time) => share(time.worst_gain_db)],
    ['Level of speech', (time) => share(time.speech_level_db)],
  ];
  return [make('table', { class: 'figures' },
    make('thead', {}, make('tr', {}, make('th', { scope: 'col' }, ''), ...times.map(([each]) => make('th', { scope: 'col' }, caseTitle(each))))),
    make('tbody', {}, ...rows.map(([title, text]) => make('tr', {}, make('th', { scope: 'row' }, title),
      ...times.map(([each, response]) => make('td', { 'data-title': caseTitle(each) }, text(response.time)))))))];
}

function pairFigures(shown) {
  return shown.map((each) => [each, allCases[each].pair]).filter(([, pair]) => pair).map(([each, pair]) => {
    const late = Math.abs(pair.delay_ms) < 0.001 ? 'Right comes with left'
      : `${pair.delay_ms > 0 ? 'Right' : 'Left'} comes ${decimal(Math.abs(pair.delay_ms), 3)} ms later than ${pair.delay_ms > 0 ? 'left' : 'right'}`;
    const text = pair.similarity < 0.5 ? 'The channels are too unlike for a delay between them to mean anything'
      : `${late}, with ${pair.is_inverted ? 'opposite' : 'the same'} polarity`;
    const level = pair.level_db === null ? '' : Math.abs(pair.level_db) < 0.05 ? '; both have the same level of speech' : `; right\u2019s level of speech is ${decimal(Math.abs(pair.level_db), 1)} dB ${pair.level_db < 0 ? 'lower' : 'higher'}`;
    return make('p', { class: 'hint' }, make('strong', {}, `${caseTitle(each)}. `), `${text}${pair.similarity < 0.5 ? '' : level}.`);
  });
}

const figuresOf = (cases, panel) => (panel === 'pair' ? pairFigures(cases)
  : isOfTime() ? timeFigures(cases, panel) : changeFigures(cases, panel));

function legendEntries(shown, panel, chosen = state.shown) {
  const entry = (each, channel, text) => {
    const style = styleOf(each, channel, panel, chosen);
    const line = make('span', { class: style.dash.length === 0 ? 'line' : style.dash[0] < 4 ? 'line dotted' : 'line dashed', 'aria-hidden': 'true' });
    line.style.setProperty('--line', `var(${style.colour})`);
    if (!hasCurve(valuesOf(each, channel, 'magnitude_db'), 'magnitude_db')) line.classList.add('undrawn');
    const output = outputOf(each, channel);
    return make('li', {}, line, chip(each), make('span', {}, text, output ? fileName(output) : '',
      output && output.state === 'flat' ? ' (flat)' : ''));
  };
  if (panel !== 'pair') return shown.map((each) => entry(each, panel, `${caseTitle(each)} `));
  return shown.flatMap((each) => CHANNELS.map((channel) => entry(each, channel, `${caseTitle(each)}, ${channel} `)));
}
