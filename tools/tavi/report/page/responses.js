// ---- Responses --------------------------------------------------------------------------------

const charts = {};  // by channel, by quantity
const legends = {};
const notices = {};
const readouts = {};
const plots = {};

const outputOf = (number, channel) => (number === null ? undefined
  : report.cases[number].outputs.find((output) => output.channel === channel));
const responseOf = (output) => (output && output.response !== null ? report.responses[output.response] : null);
// The cases on show: the chosen one and what it is compared with.
const shownCases = () => [state.shown, state.overlay].filter((number) => number !== null);

// A curve is drawn of what a file gave; bin 0 has no place on a logarithmic axis.
function isDrawable(output) {
  const response = responseOf(output);
  return Boolean(response) && output.state !== 'flat' &&
    response.magnitude_db.some((value, bin) => bin > 0 && value !== null);
}

const drawnCases = (channel) => shownCases().filter((number) => isDrawable(outputOf(number, channel)));

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function binsWhere(response, isWanted) {
  return response.real.map((_, bin) => bin).filter((bin) => isWanted(response.real[bin], response.imaginary[bin]));
}

const isNotANumber = (real, imaginary) => real === null || imaginary === null;
const isZero = (real, imaginary) => real === 0 && imaginary === 0;

function noticesOf(number, channel) {
  const title = make('strong', {}, `Case ${number}`);
  const notice = (kind, ...text) => make('p', { class: `notice ${kind}` }, title.cloneNode(true), ...text);
  if (!report.cases[number].is_in_force) {
    return [notice('error', ' is not in force: the module does not read its files.')];
  }
  const output = outputOf(number, channel);
  const response = responseOf(output);
  if (output.state === 'flat') {
    return [notice('error', ' is sent flat: ', `${count(output.message.bins, 'bin')} of 1 + 0i, for `,
      fileName(output), ' cannot be used. The findings say why.')];
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
      isDrawable(output) ? ' The curve has gaps there.' : ''));
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
  if (!isDrawable(output) && response.real.length === 1) {
    result.push(notice('note', ' has bin 0 only, which a logarithmic axis has no place for.'));
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

function renderReadout(channel) {
  const shown = shownCases();
  const cells = (bin) => shown.map((number) => {
    const response = responseOf(outputOf(number, channel));
    const [value, complex] = response ? exactText(response, bin) : ['not sent', ''];
    return make('td', {}, make('span', { class: 'exact' }, value), make('span', { class: 'complex' }, complex));
  });
  const row = (bin) => make('tr', {}, make('th', { scope: 'row' }, `Bin ${bin}`,
    make('span', { class: 'complex' }, hertz(report.frequency_hz[bin]))), ...cells(bin));
  const bins = report.frequency_hz.length === 0 ? [] : report.frequency_hz.length === 1 ? [0] : [0, state.bin];
  readouts[channel].replaceChildren(
    make('thead', {}, make('tr', {}, make('th', { scope: 'col' }, ''),
      ...shown.map((number) => make('th', { scope: 'col' }, `Case ${number}`)))),
    make('tbody', {}, ...bins.map(row)));
  readouts[channel].hidden = bins.length === 0 || !shown.some((number) => responseOf(outputOf(number, channel)));
}

function legendEntry(number, channel) {
  const output = outputOf(number, channel);
  const line = make('span', { class: number === state.shown ? 'line' : 'line dashed', 'aria-hidden': 'true' });
  line.style.setProperty('--line', `var(--line-${number % COLOURS})`);
  if (!isDrawable(output)) line.classList.add('undrawn');
  return make('li', {}, line, chip(number), make('span', {}, `Case ${number} `, output ? fileName(output) : ''));
}
