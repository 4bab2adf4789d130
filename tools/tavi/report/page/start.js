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
