// ---- Posture map ------------------------------------------------------------------------------

const map = byId('map');
const marker = make('div', { class: 'marker', 'aria-hidden': 'true' });
const rows = [];  // of cells, as they stand: before the first reading, then one a rotation

function takenText({ taken, alternate }) {
  if (taken === null) return 'no case';
  if (alternate === null) return `case ${taken}`;
  return `case ${taken}, alternating with case ${alternate}`;
}

const choiceText = (run) => `${takenText(run)}${isOtherCase(run) ? ` (old: ${takenText(run.old)})` : ''}`;

const markText = ({ taken, alternate }) => (taken === null ? 'none' : alternate === null ? `${taken}` : `${taken} \u21c4 ${alternate}`);

function makeCell(run, label) {
  const node = make('div', { class: 'cell', role: 'gridcell', tabindex: '-1', 'aria-label': label, title: label });
  if (run.taken === null) node.dataset.pattern = 'none';
  else paint(node, run.taken, run.alternate);
  node.append(make('span', { class: 'cell-text' }, markText(run)));
  if (isOtherCase(run)) {
    node.classList.add('changed');
    node.append(make('span', { class: 'cell-old' }, make('span', { class: 'cell-old-text' }, markText(run.old))));
  }
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
  for (const label of map.querySelectorAll('.cell-old-text')) {
    label.hidden = false;
    label.hidden = label.offsetWidth > label.parentElement.clientWidth;
  }
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
  if (runs.some(isOtherCase)) {
    const node = make('span', { class: 'swatch changed', 'aria-hidden': 'true' }, make('span', { class: 'cell-old' }));
    entries.push([node, 'another case than the old one, whose number stands below']);
  }
  byId('map-legend').append(...entries.map(([run, text]) => make('li', {}, run instanceof Node ? run : swatch(run), text)));
}
