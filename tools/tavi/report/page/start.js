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
buildDesigns();
buildFindings();
buildCases();
if (firstRun) state.shown = firstRun.taken;
renderPosture();
renderResponses();
followAddress();
window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
  renderResponses();
  if (designed.length > 0) renderDesigns();
});
window.addEventListener('beforeprint', beginPrint);
window.addEventListener('afterprint', endPrint);
