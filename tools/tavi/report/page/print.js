// ---- On paper ---------------------------------------------------------------------------------

const MOST_PRINTED = 120;  // cases; each takes canvases
const PRINTED_WIDTH = 350;
const PRINTED_HEIGHTS = { change: 150, phase: 150 };  // others 170
let printed = [];  // charts

function printedPanel(number, panel) {
  const old = state.overlay === OLD ? oldOf(number) : null;
  const cases = old === null ? [number] : [number, old];
  const figure = make('figure', { class: panel === 'pair' ? 'channel wide' : 'channel' }, make('figcaption', {}, make('h4', {}, CHANNEL_TITLES[panel])),
    make('ul', { class: 'legend' }, ...legendEntries(cases, panel, number)),
    make('div', { class: 'notices' }, ...cases.flatMap((shown) =>
      (panel === 'pair' ? CHANNELS : [panel]).flatMap((channel) => noticesOf(shown, channel, panel === 'pair')))));
  const frame = make('div', { class: 'plots' });
  for (const each of chartsOf(panel)) {
    if (curvesOf(each, cases).length === 0) continue;
    const width = panel === 'pair' ? 2 * PRINTED_WIDTH : PRINTED_WIDTH;
    const canvas = make('canvas', { width, height: PRINTED_HEIGHTS[each.name] || 170 });
    frame.append(make('div', {}, canvas));
    const chart = makeChart(each, canvas, { ...chartOptions(each), responsive: false, events: [], devicePixelRatio: 2 });
    fill(chart, each, cases, number);
    chart.update('none');
    printed.push(chart);
  }
  figure.append(frame, make('div', { class: 'time' }, ...figuresOf(cases, panel)));
  return figure;
}

// The chosen view of every case, in the light theme.
function beginPrint() {
  document.documentElement.toggleAttribute('data-print', true);
  endPrintedCases();
  const cases = report.cases.filter((each) => each.is_in_force).map((each) => each.number);
  for (const each of cases.slice(0, MOST_PRINTED)) {
    byId('printed').append(make('section', {}, make('h3', {}, chip(each), ` Case ${each}: ${conditionsText(each)}`),
      make('div', { class: 'channels' }, ...shownPanels().map((panel) => printedPanel(each, panel)))));
  }
  if (cases.length > MOST_PRINTED) {
    byId('printed').append(make('p', {}, `The curves of the other ${count(cases.length - MOST_PRINTED, 'case')} are on the page only.`));
  }
  printDesigns();
  for (const details of document.querySelectorAll('header details')) details.open = true;
  renderResponses();
}

function printDesigns() {
  if (!report.build) return;
  for (const number of designed.slice(0, MOST_PRINTED)) {
    byId('printed-designs').append(make('section', {}, make('h3', {}, chip(number), ` Posture ${visible(report.build.postures[number])}`),
      make('div', { class: 'channels' }, ...CHANNELS.map((channel) => {
        const design = designOf(number, channel);
        const canvas = make('canvas', { width: PRINTED_WIDTH, height: 200 });
        const figure = designFigure(design, channel, canvas);
        if (design) printed.push(makeDesignChart(design, canvas, { responsive: false, events: [], devicePixelRatio: 2 }));
        return figure;
      }))));
  }
}

function endPrintedCases() {
  for (const chart of printed) chart.destroy();
  printed = [];
  byId('printed').replaceChildren();
  byId('printed-designs').replaceChildren();
}

function endPrint() {
  document.documentElement.toggleAttribute('data-print', false);
  endPrintedCases();
  renderResponses();
}
