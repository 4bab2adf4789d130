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
  if (isOtherCase(run)) notes.push(`The old configuration takes ${takenText(run.old)} here.`);
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
