// ---- Zoom -------------------------------------------------------------------------------------

const MOST_ZOOM = 64;
const WHEEL_STEP = 1.25;
const LEAST_DRAG = 8;  // pixels
const LEAST_PINCH = 40;  // pixels between two fingers, along an axis that they are to stretch

const isLogarithmic = (axis) => axis === 'hz';
const toLine = (axis, value) => (isLogarithmic(axis) ? Math.log(value) : value);
const fromLine = (axis, value) => (isLogarithmic(axis) ? Math.exp(value) : value);

// All that an axis, or a quantity, has.
function wholeOf(axis) {
  if (axis in AXES) return AXES[axis].range();
  const { min, max } = scaleOf(axis);
  return [min, max];
}

const windowOf = (axis) => state.zoom[axis] || wholeOf(axis);

// Shows a part of an axis, in every chart that has it.
function setWindow(axis, from, to) {
  const [low, high] = wholeOf(axis).map((value) => toLine(axis, value));
  const least = (high - low) / MOST_ZOOM;
  let [begin, end] = [toLine(axis, from), toLine(axis, to)];
  if (end - begin < least) {
    const middle = (begin + end) / 2;
    [begin, end] = [middle - least / 2, middle + least / 2];
  }
  const width = Math.min(high - low, end - begin);
  begin = Math.min(high - width, Math.max(low, begin));
  if (width >= (high - low) * 0.999) delete state.zoom[axis];
  else state.zoom[axis] = [fromLine(axis, begin), fromLine(axis, begin + width)];
}

// By a factor, about a value that keeps its place.
function zoomAbout(axis, value, factor) {
  const [from, to] = windowOf(axis).map((each) => toLine(axis, each));
  const at = toLine(axis, value);
  setWindow(axis, fromLine(axis, at - (at - from) / factor), fromLine(axis, at + (to - at) / factor));
}

// The part that is seen goes with the bin that is chosen.
function keepInWindow(axis, value) {
  if (!(axis in state.zoom)) return false;
  const [from, to] = state.zoom[axis];
  if (value >= from && value <= to) return false;
  const half = (toLine(axis, to) - toLine(axis, from)) / 2;
  setWindow(axis, fromLine(axis, toLine(axis, value) - half), fromLine(axis, toLine(axis, value) + half));
  return true;
}

function resetZoom() {
  state.zoom = {};
  renderResponses();
}

// Two fingers keep the values that they were put on: across, and of the quantity when they stand a
// few lines above each other.
function pinch(chart, { across, quantity }, held, fingers) {
  const { left, right, top, bottom } = chart.chartArea;
  const stretch = (axis, window, [low, high], [from, to], [nowFrom, nowTo]) => {
    const [begin, end] = window.map((value) => toLine(axis, value));
    const perPixel = (end - begin) / (high - low);
    const values = [from, to].map((pixel) => begin + (pixel - low) * perPixel);
    const apart = nowTo - nowFrom;
    if (Math.sign(apart) !== Math.sign(to - from) || Math.abs(apart) < LEAST_DRAG) return;
    const scale = (values[1] - values[0]) / apart;
    setWindow(axis, ...[low, high].map((pixel) => fromLine(axis, values[0] + (pixel - nowFrom) * scale)));
  };
  const along = (points, axis) => points.map((point) => point[axis]);
  const apart = (axis) => Math.abs(held.fingers[0][axis] - held.fingers[1][axis]);
  if (apart('x') >= LEAST_PINCH) {
    stretch(across, held.across, [left, right], along(held.fingers, 'x'), along(fingers, 'x'));
  }
  if (apart('y') >= LEAST_PINCH) {
    stretch(quantity, held.quantity, [bottom, top], along(held.fingers, 'y'), along(fingers, 'y'));
  }
  renderResponses();
}

// A rectangle that is dragged over a chart becomes what is seen: of the axis across, and of the
// quantity when it is a few lines high.
function attachZoom(chart, each) {
  const { across, quantity } = each;
  const { canvas } = chart;
  const pointers = new Map();  // that are down, and where
  let held = null;  // when the second finger came
  const valueAt = (scale, pixel) => chart.scales[scale].getValueForPixel(pixel);
  const place = (event) => {
    const box = canvas.getBoundingClientRect();
    const { left, right, top, bottom } = chart.chartArea;
    return {
      x: Math.min(right, Math.max(left, event.clientX - box.left)),
      y: Math.min(bottom, Math.max(top, event.clientY - box.top)),
    };
  };
  canvas.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    pointers.set(event.pointerId, place(event));
    canvas.setPointerCapture(event.pointerId);
    chart.drag = pointers.size === 1 ? { from: place(event), to: place(event) } : null;
    held = pointers.size !== 2 ? null
      : { fingers: [...pointers.values()], across: windowOf(across), quantity: windowOf(quantity) };
    if (held) chart.draw();
  });
  canvas.addEventListener('pointermove', (event) => {
    if (!pointers.has(event.pointerId)) return;
    pointers.set(event.pointerId, place(event));
    if (held) pinch(chart, each, held, [...pointers.values()]);
    if (!chart.drag) return;
    chart.drag.to = place(event);
    chart.draw();
  });
  // The page does not move under two fingers.
  canvas.addEventListener('touchstart', (event) => { if (event.touches.length > 1) event.preventDefault(); }, { passive: false });
  const end = (event, isDone) => {
    pointers.delete(event.pointerId);
    held = null;
    if (!chart.drag) return;
    const { from, to } = chart.drag;
    chart.drag = null;
    const [left, right] = [from.x, to.x].sort((a, b) => a - b);
    const [top, bottom] = [from.y, to.y].sort((a, b) => a - b);
    if (!isDone || right - left < LEAST_DRAG) { chart.draw(); return; }
    const [lowest, highest] = [valueAt('y', bottom), valueAt('y', top)];
    setWindow(across, valueAt('x', left), valueAt('x', right));
    if (bottom - top > 4 * LEAST_DRAG) setWindow(quantity, lowest, highest);
    renderResponses();
  };
  canvas.addEventListener('pointerup', (event) => end(event, true));
  canvas.addEventListener('pointercancel', (event) => end(event, false));
  canvas.addEventListener('dblclick', resetZoom);
  // Without the control key a wheel moves the page, unless the chart was chosen.
  canvas.addEventListener('wheel', (event) => {
    if (!event.ctrlKey && document.activeElement !== canvas) return;
    event.preventDefault();
    const factor = event.deltaY < 0 ? WHEEL_STEP : 1 / WHEEL_STEP;
    const at = place(event);
    if (event.shiftKey) zoomAbout(quantity, valueAt('y', at.y), factor);
    else zoomAbout(across, valueAt('x', at.x), factor);
    renderResponses();
  }, { passive: false });
}

// By keys: + and - about the chosen bin or sample, with the shift of * and _ the scale.
function onZoomKey(event, { across, quantity }) {
  const middle = windowOf(quantity).reduce((sum, value) => sum + value / 2, 0);
  const at = AXES[across].at(AXES[across].index());
  if (event.key === '+' || event.key === '=') zoomAbout(across, at, 1.5);
  else if (event.key === '-') zoomAbout(across, at, 1 / 1.5);
  else if (event.key === '*') zoomAbout(quantity, middle, 1.5);
  else if (event.key === '_' || event.key === '/') zoomAbout(quantity, middle, 1 / 1.5);
  else if (event.key === '0') state.zoom = {};
  else return false;
  renderResponses();
  return true;
}
