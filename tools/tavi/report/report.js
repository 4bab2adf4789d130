'use strict';

(() => {
  const byId = (id) => document.getElementById(id);
  const report = JSON.parse(byId('report-data').textContent);

  const ROTATIONS = [0, 90, 180, 270];
  const ANGLES = 181;  // 0 to 180 degrees
  const COLOURS = 7;  // of cases; then they repeat with another pattern
  const PATTERNS = 4;
  const CHANNELS = ['left', 'right'];
  const CHANNEL_TITLES = { left: 'Left channel', right: 'Right channel' };
  const QUANTITIES = ['magnitude_db', 'phase_degrees'];
  const DSP_BINS = 257;
  const NARROW = 12;  // pixels of a cell
  const LONG_LIST = 40;  // entries
  const MAGNITUDE_SPAN = 80;  // dB below the highest bin; a notch to nothing would flatten the rest

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
    return value.toFixed(digits).replace('-', '\u2212');
  }

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

  function conditionsText(number) {
    const conditions = Object.entries(report.cases[number].conditions);
    const words = { HingeAngle: 'hinge', ScreenRotation: 'rotation' };
    return conditions.map(([name, value]) => visible(`${words[name] || name} ${value}`)).join('; ');
  }

  // ---- Postures ---------------------------------------------------------------------------------

  const runs = report.postures;
  const isAt = (run, hinge, rotation) => run.rotation === rotation &&
    (hinge === null ? run.from === null : run.from !== null && run.from <= hinge && hinge <= run.to);
  const runAt = (hinge, rotation) => runs.find((run) => isAt(run, hinge, rotation));

  // Where `isWanted` holds, in words: rotations with the same angles are named together.
  function placesText(isWanted) {
    const wanted = runs.filter(isWanted);
    const rotationsOf = new Map();
    const before = [];
    for (const rotation of ROTATIONS) {
      const angles = [];
      for (const run of wanted.filter((candidate) => candidate.rotation === rotation)) {
        const last = angles[angles.length - 1];
        if (run.from === null) before.push(rotation);
        else if (last && last[1] === run.from - 1) last[1] = run.to;
        else angles.push([run.from, run.to]);
      }
      if (angles.length === 0) continue;
      const text = enumerate(angles.map(([from, to]) => (from === to ? degrees(from) : `${from} to ${degrees(to)}`)));
      rotationsOf.set(text, [...(rotationsOf.get(text) || []), rotation]);
    }
    const allOr = (rotations) => (rotations.length === ROTATIONS.length
      ? 'any rotation' : `rotation ${enumerate(rotations.map(degrees))}`);
    const places = [...rotationsOf].map(([angles, rotations]) => `hinge ${angles}, ${allOr(rotations)}`);
    if (before.length > 0) places.push(`before the first reading, ${allOr(before)}`);
    return places.join('; ');
  }

  // ---- State ------------------------------------------------------------------------------------

  const firstRun = runs.find((run) => isAt(run, 0, 0) && run.taken !== null) ||
    runs.find((run) => run.from !== null && run.taken !== null) ||
    runs.find((run) => run.taken !== null);
  const state = {
    hinge: firstRun ? firstRun.from : 0,  // null before the first reading
    lastHinge: firstRun && firstRun.from !== null ? firstRun.from : 0,
    rotation: firstRun ? firstRun.rotation : 0,
    shown: report.cases.length > 0 ? 0 : null,  // the case whose responses are shown
    overlay: null,
    bin: Math.max(1, nearestBin(1000)),  // that exact values are given for
  };

  function nearestBin(frequency) {
    const frequencies = report.frequency_hz;
    return frequencies.length < 2 ? 1 : Math.min(Math.round(frequency / frequencies[1]), frequencies.length - 1);
  }

  function selectPosture(hinge, rotation, shown) {
    state.hinge = hinge;
    if (hinge !== null) state.lastHinge = hinge;
    state.rotation = rotation;
    const taken = runAt(hinge, rotation).taken;
    if (shown !== undefined) state.shown = shown;
    else if (taken !== null) state.shown = taken;
    renderPosture();
    renderResponses();
  }

  // Goes to a posture that takes the case, if there is one.
  function selectCase(wanted) {
    const takes = (run) => run.taken === wanted;
    const alternates = (run) => run.alternate === wanted;
    const here = runAt(state.hinge, state.rotation);
    const run = [here, ...runs.filter((candidate) => candidate.from !== null), ...runs].find(takes) ||
      [here, ...runs].find(alternates);
    if (!run) selectPosture(state.hinge, state.rotation, wanted);
    else if (run === here) selectPosture(state.hinge, state.rotation, wanted);
    else selectPosture(run.from, run.rotation, wanted);
  }

  function goTo(id) {
    byId(id).focus({ preventScroll: true });
    byId(id).scrollIntoView();
  }

  // ---- Colours of cases -------------------------------------------------------------------------

  function paint(node, taken, alternate = null) {
    node.style.setProperty('--fill', `var(--case-${taken % COLOURS})`);
    node.style.setProperty('--ink', `var(--ink-${taken % COLOURS})`);
    if (alternate !== null) {
      node.style.setProperty('--fill-2', `var(--case-${alternate % COLOURS})`);
      node.dataset.pattern = 'alternating';
    } else {
      node.dataset.pattern = Math.floor(taken / COLOURS) % PATTERNS;
    }
    return node;
  }

  function chip(number) {
    const node = make('span', { class: 'chip' }, make('span', { class: 'chip-text' }, `${number}`));
    if (!report.cases[number].is_in_force) node.dataset.pattern = 'refused';
    else paint(node, number);
    return node;
  }

  // ---- Posture map ------------------------------------------------------------------------------

  const map = byId('map');
  const marker = make('div', { class: 'marker', 'aria-hidden': 'true' });
  const rows = [];  // of cells, as they stand: before the first reading, then one a rotation

  function choiceText(run) {
    if (run.taken === null) return 'no case';
    if (run.alternate === null) return `case ${run.taken}`;
    return `case ${run.taken}, alternating with case ${run.alternate}`;
  }

  function makeCell(run, label) {
    const node = make('div', { class: 'cell', role: 'gridcell', tabindex: '-1', 'aria-label': label, title: label });
    let text = 'none';
    if (run.taken === null) node.dataset.pattern = 'none';
    else {
      paint(node, run.taken, run.alternate);
      text = run.alternate === null ? `${run.taken}` : `${run.taken} \u21c4 ${run.alternate}`;
    }
    node.append(make('span', { class: 'cell-text' }, text));
    return { run, node };
  }

  function makeRow(title, cells, kind = '') {
    const track = make('div', { class: `map-track ${kind}`, role: 'presentation' }, ...cells.map((cell) => cell.node));
    const header = make('div', { class: 'map-label', role: 'rowheader' }, ...title);
    rows.push({ cells, header, track });
    map.append(make('div', { class: 'map-row', role: 'row' }, header, track));
  }

  function buildMap() {
    const unread = ROTATIONS.map((rotation) => {
      const run = runAt(null, rotation);
      const cell = makeCell(run,
        `Before the first hinge reading, rotation ${degrees(rotation)}: ${choiceText(run)}`);
      cell.node.prepend(make('span', { class: 'cell-rotation' }, degrees(rotation)));
      cell.node.addEventListener('click', () => selectPosture(null, rotation));
      return cell;
    });
    makeRow(['No reading'], unread, 'unread');
    for (const rotation of ROTATIONS) {
      const cells = runs.filter((run) => run.rotation === rotation && run.from !== null).map((run) => {
        const angles = run.from === run.to ? degrees(run.from) : `${run.from} to ${degrees(run.to)}`;
        const cell = makeCell(run, `Rotation ${degrees(rotation)}, hinge ${angles}: ${choiceText(run)}`);
        cell.node.style.setProperty('--from', run.from);
        cell.node.style.setProperty('--angles', run.to - run.from + 1);
        cell.node.addEventListener('click', (event) => {
          const box = cell.node.parentElement.getBoundingClientRect();
          const angle = Math.floor((event.clientX - box.left) / box.width * ANGLES);
          selectPosture(Math.min(run.to, Math.max(run.from, angle)), rotation);
        });
        return cell;
      });
      makeRow([make('span', { class: 'word' }, 'Rotation '), degrees(rotation)], cells);
    }
    const ticks = [0, 30, 60, 90, 120, 150, 180].map((angle) => {
      const tick = make('span', { class: 'tick' }, degrees(angle));
      tick.style.setProperty('--from', angle);
      return tick;
    });
    map.append(make('div', { class: 'map-row map-axis', 'aria-hidden': 'true' },
      make('div', { class: 'map-label' }), make('div', { class: 'map-track' }, ...ticks)));

    map.addEventListener('keydown', onMapKey);
    new ResizeObserver(fitLabels).observe(map);
    buildMapLegend();
  }

  // Numbers stand only where they fit as a whole.
  function fitLabels() {
    const labels = rows.flatMap((row) => row.cells).map((cell) => cell.node.querySelector('.cell-text'));
    for (const label of labels) label.hidden = false;
    const fits = labels.map((label) => label.offsetWidth + 2 <= label.parentElement.clientWidth);
    const isNarrow = labels.map((label) => label.parentElement.clientWidth < NARROW);
    labels.forEach((label, i) => {
      label.hidden = !fits[i];
      label.parentElement.classList.toggle('narrow', isNarrow[i]);
    });
  }

  function currentCell() {
    const row = state.hinge === null ? 0 : 1 + ROTATIONS.indexOf(state.rotation);
    const column = rows[row].cells.findIndex((cell) => isAt(cell.run, state.hinge, state.rotation));
    return { row, column };
  }

  function onMapKey(event) {
    const { row, column } = currentCell();
    const cells = rows[row].cells;
    const toColumn = (next, end) => {
      const run = cells[Math.min(cells.length - 1, Math.max(0, next))].run;
      selectPosture(run.from === null ? null : run[end], run.rotation);
    };
    const toRow = (next) => {
      if (next < 0 || next >= rows.length) return;
      if (next === 0) selectPosture(null, state.rotation);
      else selectPosture(state.lastHinge, ROTATIONS[next - 1]);
    };
    switch (event.key) {
      case 'ArrowRight': toColumn(column + 1, column + 1 < cells.length ? 'from' : 'to'); break;
      case 'ArrowLeft': toColumn(column - 1, column > 0 ? 'to' : 'from'); break;
      case 'ArrowUp': toRow(row - 1); break;
      case 'ArrowDown': toRow(row + 1); break;
      case 'Home': toColumn(0, 'from'); break;
      case 'End': toColumn(cells.length - 1, 'to'); break;
      default: return;
    }
    event.preventDefault();
    const current = currentCell();
    rows[current.row].cells[current.column].node.focus();
  }

  function buildMapLegend() {
    const single = runs.find((run) => run.taken !== null && run.alternate === null);
    const alternating = runs.find((run) => run.alternate !== null);
    const entries = [];
    const swatch = (run) => {
      const cell = makeCell(run, '');
      const node = make('span', { class: 'swatch', 'aria-hidden': 'true' });
      node.style.cssText = cell.node.style.cssText;
      Object.assign(node.dataset, cell.node.dataset);
      return node;
    };
    if (single) entries.push([single, 'one case, by its number; where there is no room for it, point at the cell']);
    if (alternating) entries.push([alternating, 'two cases by turns, another one with every update']);
    if (runs.some((run) => run.taken === null)) {
      entries.push([{ taken: null }, 'no case: the DSP keeps what it was sent last']);
    }
    byId('map-legend').append(...entries.map(([run, text]) => make('li', {}, swatch(run), text)));
  }

  // ---- Posture controls and panel ---------------------------------------------------------------

  function buildControls() {
    byId('rotations').append(...ROTATIONS.map((rotation) => make('label', {},
      make('input', { type: 'radio', name: 'rotation', value: rotation,
        onchange: () => selectPosture(state.hinge, rotation) }),
      make('span', {}, degrees(rotation)))));
    byId('hinge').addEventListener('input', () => selectPosture(Number(byId('hinge').value), state.rotation));
    byId('no-reading').addEventListener('change', () => {
      selectPosture(byId('no-reading').checked ? null : state.lastHinge, state.rotation);
    });
  }

  function messageRow(title, content, bytes) {
    return make('tr', {}, make('th', { scope: 'row' }, title), make('td', {}, ...content),
      make('td', { class: 'bytes' }, bytes));
  }

  function outputRow(output) {
    const title = output.channel === 'left' ? 'Left' : 'Right';
    if (!output.message) {
      return messageRow(title, [make('strong', {}, 'not sent'), ': ', fileName(output),
        ' holds no data; the DSP keeps the response it has on this channel'], '0');
    }
    const content = [`type ${output.message.type}, ${count(output.message.bins, 'bin')}, `];
    if (output.state === 'flat') content.push(make('strong', {}, 'flat'), ' for want of a usable ', fileName(output));
    else content.push(fileName(output));
    if (output.state === 'not-finite') content.push(', ', make('strong', {}, 'with NaN in it'));
    return messageRow(title, content, `${output.message.bytes}`);
  }

  function deliveryTable(number, withStatus) {
    const body = make('tbody');
    if (withStatus) {
      const { type, bytes } = report.module.status_message;
      body.append(messageRow('Status', [`type ${type}: the scenario is active`], `${bytes}`));
    }
    if (number !== null) body.append(...report.cases[number].outputs.map(outputRow));
    return make('table', { class: 'messages' },
      make('thead', {}, make('tr', {}, make('th', { scope: 'col' }, 'Message'),
        make('th', { scope: 'col' }, 'Content'), make('th', { scope: 'col', class: 'bytes' }, 'Bytes'))),
      body);
  }

  function writeText(number) {
    const { bytes } = report.cases[number];
    return bytes > 0 ? `The responses are one write of ${bytes} bytes.` : 'No response is sent: both files hold no data.';
  }

  function deliveryContent(run) {
    const paragraph = (text) => make('p', {}, text);
    if (!report.module.context) {
      return [paragraph('Nothing. The configuration yields no case, so init hands out no context and the module takes no part in a call.')];
    }
    if (run.taken === null) {
      return [deliveryTable(null, true),
        paragraph('No corrections. The DSP keeps the responses that it was sent last, or works without if there were none.')];
    }
    const content = [deliveryTable(run.taken, true), paragraph(`${writeText(run.taken)} During a call they are sent without the status, unless this case was the one sent last.`)];
    if (run.alternate !== null) {
      content.push(make('h4', {}, `By the next update here: case ${run.alternate}`),
        deliveryTable(run.alternate, false), paragraph(writeText(run.alternate)));
    }
    return content;
  }

  function matchNotes(run) {
    const notes = [];
    if (run.alternate !== null) {
      notes.push(`Both match. Case ${run.taken} is taken when a call begins, case ${run.alternate} by the next update, and so on by turns: every change of the hinge angle in the overlap sends the other one.`);
    }
    const others = run.matching.filter((number) => number !== run.taken && number !== run.alternate);
    if (others.length > 0 && run.taken !== null) {
      notes.push(others.length === 1 ? `Case ${others[0]} matches as well, but is never taken here.`
        : `Cases ${ranges(others)} match as well, but are never taken here.`);
    }
    return notes.map((text) => make('p', {}, text));
  }

  function renderPosture() {
    const run = runAt(state.hinge, state.rotation);
    const { row, column } = currentCell();
    rows.forEach((each, i) => {
      each.header.classList.toggle('current', i === row);
      each.cells.forEach((cell, j) => {
        const isCurrent = i === row && j === column;
        cell.node.tabIndex = isCurrent ? 0 : -1;
        cell.node.setAttribute('aria-selected', String(isCurrent));
      });
    });
    marker.hidden = state.hinge === null;
    if (state.hinge !== null) {
      marker.style.setProperty('--from', state.hinge);
      rows[row].track.append(marker);
    }

    const slider = byId('hinge');
    slider.value = state.lastHinge;
    slider.classList.toggle('unread', state.hinge === null);
    const hingeText = state.hinge === null ? 'no reading' : degrees(state.hinge);
    slider.setAttribute('aria-valuetext', `${hingeText}, ${choiceText(run)}`);
    byId('hinge-value').textContent = hingeText;
    byId('no-reading').checked = state.hinge === null;
    for (const input of document.querySelectorAll('#rotations input')) {
      input.checked = Number(input.value) === state.rotation;
    }

    byId('posture-name').textContent = state.hinge === null
      ? `Before the first reading, rotation ${degrees(state.rotation)}`
      : `Hinge ${degrees(state.hinge)}, rotation ${degrees(state.rotation)}`;
    const caseParts = (taken) => [chip(taken), make('span', {}, make('strong', {}, `Case ${taken}`), ` ${conditionsText(taken)}`)];
    byId('taken').replaceChildren(...(run.taken === null
      ? [make('strong', {}, 'No case')]
      : [...caseParts(run.taken), ...(run.alternate === null ? []
        : [make('span', { class: 'by-turns' }, '\u21c4 by turns with'), ...caseParts(run.alternate)])]));
    byId('taken-notes').replaceChildren(...matchNotes(run));
    byId('delivery').replaceChildren(...deliveryContent(run));
  }

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

  function frequencyLabel(value) {
    const digit = Math.round(value / 10 ** Math.floor(Math.log10(value) + 1e-9));
    if (![1, 2, 5].includes(digit)) return '';
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
            ticks: { autoSkip: false, maxRotation: 0, callback: frequencyLabel },
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

  // ---- Findings and cases -----------------------------------------------------------------------

  function placeOf(finding) {
    const file = visible(finding.file);
    return finding.column === null ? file : `${file}:${finding.line}:${finding.column}`;
  }

  function showButton(text, action) {
    return make('button', { type: 'button', class: 'link', onclick: () => { action(); goTo('posture-title'); } }, text);
  }

  function linkOf(finding) {
    if (finding.case !== null && finding.case < report.cases.length) {
      const where = finding.name === 'alternating-cases' &&
        runs.find((run) => run.alternate !== null && run.matching.includes(finding.case));
      return showButton(`Show case ${finding.case}`, () => {
        if (where) selectPosture(where.from, where.rotation, finding.case);
        else selectCase(finding.case);
      });
    }
    const uncovered = finding.name === 'uncovered-posture' &&
      (runs.find((run) => run.taken === null && run.from !== null) || runs.find((run) => run.taken === null));
    if (uncovered) return showButton('Show such a posture', () => selectPosture(uncovered.from, uncovered.rotation));
    return null;
  }

  function buildFindings() {
    const { error, warning, note } = report.counts;
    const total = error + warning + note;
    byId('findings-summary').textContent = total === 0 ? 'Nothing to report.'
      : `${enumerate([count(error, 'error'), count(warning, 'warning'), count(note, 'note')])}, as tavi check finds them, the most severe first.`;
    byId('findings').hidden = total === 0;
    const severities = ['error', 'warning', 'note'];
    const sorted = severities.flatMap((severity) => report.findings.filter((finding) => finding.severity === severity));
    byId('findings').classList.toggle('long', total > LONG_LIST);
    byId('findings').append(...sorted.map((finding) => make('li', { class: `finding ${finding.severity}` },
      make('p', { class: 'finding-head' }, make('span', { class: 'severity' }, finding.severity),
        make('code', { class: 'finding-name' }, finding.name), linkOf(finding)),
      make('p', { class: 'message' }, visible(finding.message)),
      make('p', { class: 'consequence' }, visible(finding.consequence)),
      make('p', { class: 'place' }, make('code', {}, placeOf(finding))),
      finding.excerpt === null ? null
        : make('pre', { class: 'excerpt' }, `${finding.excerpt.text}\n${finding.excerpt.marker}`))));
  }

  function outputCell(number, channel) {
    const output = outputOf(number, channel);
    const title = CHANNEL_TITLES[channel];
    if (!output) return make('td', { 'data-title': title }, '');
    const words = { flat: 'sent flat', empty: 'not sent', 'not-finite': 'holds NaN' };
    return make('td', { 'data-title': title }, fileName(output),
      output.state in words ? make('strong', { class: 'state' }, words[output.state]) : null);
  }

  function takenAtText(number) {
    if (!report.cases[number].is_in_force) return 'not in force';
    const first = placesText((run) => run.taken === number);
    const second = placesText((run) => run.alternate === number);
    return [first, second && `by turns: ${second}`].filter(Boolean).join('; ') || null;
  }

  function buildCases() {
    byId('cases').classList.toggle('long', report.cases.length > LONG_LIST);
    if (report.cases.length === 0) byId('cases').append(make('p', {}, 'None.'));
    else {
      const heads = ['Case', 'Conditions', 'Taken at', 'Left', 'Right'];
      byId('cases').append(make('table', {},
        make('thead', {}, make('tr', {}, ...heads.map((text) => make('th', { scope: 'col' }, text)))),
        make('tbody', {}, ...report.cases.map((each, number) => {
          const row = make('tr', { 'data-case': number },
            make('th', { scope: 'row' }, make('button', { type: 'button', class: 'case-button',
              'aria-label': `Show case ${number}`, onclick: () => { selectCase(number); goTo('posture-title'); } }, chip(number))),
            make('td', { 'data-title': 'Conditions', title: each.keys.join('\n') },
              conditionsText(number) || make('code', {}, visible(each.text))),
            make('td', { 'data-title': 'Taken at' }, takenAtText(number) || make('span', { class: 'never' }, 'no posture')),
            outputCell(number, 'left'), outputCell(number, 'right'));
          return row;
        }))));
    }
    byId('config-text').textContent = visible(report.configuration.text);
  }

  function buildHead() {
    const name = visible(report.configuration.name);
    const { cases_in_force: inForce, context, valid } = report.module;
    const { error, warning } = report.counts;
    document.title = `${name} \u2013 speaker compensation report`;
    byId('name').textContent = name;
    const verdict = byId('verdict');
    if (!context) verdict.textContent = 'The module finds no case in it: init reports success, and nothing is ever sent.';
    else if (inForce === 0) verdict.textContent = 'The module refuses the first case and reads no further: no correction is ever sent.';
    else if (!valid || inForce < report.cases.length) {
      verdict.textContent = `The module works with the first ${count(inForce, 'case')} of ${report.cases.length} only: the rest is refused or not read.`;
    } else verdict.textContent = `The module accepts ${inForce === 1 ? 'the one case' : `all ${inForce} cases`}.`;
    verdict.classList.toggle('bad', !context || !valid || inForce < report.cases.length);
    const fact = (term, ...value) => make('div', {}, make('dt', {}, term), make('dd', {}, ...value));
    byId('facts').append(
      fact('Cases in force', `${inForce} of ${report.cases.length}`),
      fact('Errors', make('a', { href: '#findings-title', class: error > 0 ? 'bad' : '' }, `${error}`)),
      fact('Warnings', make('a', { href: '#findings-title' }, `${warning}`)),
      fact('Sampling rate', `${report.rate_hz} Hz`));
  }

  // ---- Theme ------------------------------------------------------------------------------------

  function applyTheme() {
    Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
    Chart.defaults.font.size = 12;
    for (const chart of allCharts()) {
      for (const axis of Object.values(chart.options.scales)) {
        axis.grid = { color: colour('--grid'), borderColor: colour('--rule') };
        axis.ticks.color = colour('--muted');
        axis.title.color = colour('--muted');
      }
      Object.assign(chart.options.plugins.tooltip, {
        backgroundColor: colour('--tip'), titleColor: colour('--tip-text'), bodyColor: colour('--tip-text'),
      });
    }
    renderResponses();
  }

  // On paper everything is in the light theme, and as wide as the paper.
  function print(isPrinting) {
    document.documentElement.toggleAttribute('data-print', isPrinting);
    applyTheme();
    for (const chart of allCharts()) chart.resize();
  }

  buildHead();
  buildMap();
  buildControls();
  buildPickers();
  buildChannels();
  buildFindings();
  buildCases();
  if (firstRun) state.shown = firstRun.taken;
  renderPosture();
  applyTheme();
  window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', applyTheme);
  window.addEventListener('beforeprint', () => print(true));
  window.addEventListener('afterprint', () => print(false));
})();
