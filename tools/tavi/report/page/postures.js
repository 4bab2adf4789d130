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
  overlay: against ? OLD : null,  // what it is compared with: a case, or the old one
  view: 'response',
  bin: Math.max(1, nearestBin(1000)),  // that exact values are given for
  sample: 0,
  zoom: {},  // what is seen of an axis, [from, to]: hz, samples, and each quantity
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
  const node = make('span', { class: 'chip' }, make('span', { class: 'chip-text' }, `${isOld(number) ? oldNumber(number) : number}`));
  if (isOld(number)) node.dataset.pattern = 'old';
  else if (!report.cases[number].is_in_force) node.dataset.pattern = 'refused';
  else paint(node, number);
  return node;
}
