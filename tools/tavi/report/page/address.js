// ---- The view in the address ------------------------------------------------------------------

// #case=3&with=4&view=delay&hinge=50&rotation=90&bin=11&hz=300..3400: a link that shows the same.

let keptAddress = null;  // what stands there, or would; null before the page is shown
let timer = null;

function addressOf() {
  const parameters = new URLSearchParams();
  if (state.shown !== null) parameters.set('case', state.shown);
  if (state.overlay !== null) parameters.set('with', state.overlay);
  else if (against) parameters.set('with', 'none');
  parameters.set('view', state.view);
  parameters.set('hinge', state.hinge === null ? 'none' : state.hinge);
  parameters.set('rotation', state.rotation);
  parameters.set('bin', state.bin);
  if (state.view === 'impulse') parameters.set('sample', state.sample);
  for (const [axis, window] of Object.entries(state.zoom)) {
    parameters.set(axis, window.map((value) => Number(value.toPrecision(5))).join('..'));
  }
  return `#${parameters}`;
}

// Not at once: a slider that is moved has many views.
function keepAddress() {
  if (keptAddress === null || timer !== null) return;
  timer = setTimeout(() => {
    timer = null;
    const address = addressOf();
    if (address === keptAddress) return;
    keptAddress = address;
    history.replaceState(null, '', address);
  }, 200);
}

// Shows what the address asks for, as far as the report has it.
function readAddress() {
  const parameters = new URLSearchParams(location.hash.slice(1));
  const whole = (name, limit) => {
    const value = parameters.get(name);
    return value !== null && /^\d+$/.test(value) && Number(value) < limit ? Number(value) : null;
  };
  if (parameters.get('view') in VIEWS) state.view = parameters.get('view');
  state.overlay = whole('with', report.cases.length);
  if (against && [null, OLD].includes(parameters.get('with'))) state.overlay = OLD;
  state.bin = whole('bin', report.frequency_hz.length) || state.bin;
  state.sample = whole('sample', 512) || 0;
  state.zoom = {};
  const wanted = whole('case', report.cases.length);
  const rotation = whole('rotation', 271);
  const hinge = parameters.get('hinge') === 'none' ? null : whole('hinge', ANGLES);
  if (ROTATIONS.includes(rotation) && parameters.has('hinge')) {
    selectPosture(hinge, rotation, wanted === null ? undefined : wanted);
  } else if (wanted !== null) selectCase(wanted);
  for (const axis of [...Object.keys(AXES), ...Object.keys(QUANTITIES)]) {
    const [from, to] = (parameters.get(axis) || '').split('..').map(Number);
    const [low, high] = wholeOf(axis);
    if (from >= low && from < to && to <= high * 1.001) setWindow(axis, from, to);
  }
  renderPosture();
  renderResponses();
}

function followAddress() {
  const isView = () => location.hash.includes('=');
  if (isView()) readAddress();
  keptAddress = addressOf();
  window.addEventListener('hashchange', () => {
    if (!isView() || location.hash === keptAddress) return;
    readAddress();
    keptAddress = addressOf();
  });
}
