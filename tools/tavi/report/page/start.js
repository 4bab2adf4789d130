// ---- Start ------------------------------------------------------------------------------------

Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
Chart.defaults.font.size = 12;
buildHead();
buildAgainst();
buildMap();
buildControls();
buildPickers();
buildViews();
buildPanels();
buildListen();
buildFindings();
buildCases();
if (firstRun) state.shown = firstRun.taken;
renderPosture();
renderResponses();
followAddress();
window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', renderResponses);
window.addEventListener('beforeprint', beginPrint);
window.addEventListener('afterprint', endPrint);
