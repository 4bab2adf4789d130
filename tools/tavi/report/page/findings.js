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
  const untaken = runs.filter((run) => run.taken === null);
  const uncovered = (finding.name === 'uncovered-posture' && (untaken.find((run) => run.from !== null) || untaken[0]))
    || (finding.name === 'before-first-hinge-reading' && untaken.find((run) => run.from === null));
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

// What is wrong with what the module accepts, in a few words; none for nothing.
function defects() {
  const outputs = report.cases.flatMap((each) => each.outputs);
  const inState = (wanted) => outputs.filter((output) => output.state === wanted).length;
  const found = (...names) => report.findings.filter((finding) => names.includes(finding.name)).length;
  const verb = (amount, noun, one, many) => (amount === 0 ? null : `${count(amount, noun)} ${amount === 1 ? one : many}`);
  const named = [
    verb(inState('flat'), 'channel', 'flat', 'flat'),
    verb(inState('empty'), 'channel', 'not sent', 'not sent'),
    verb(inState('not-finite'), 'channel', 'with NaN', 'with NaN'),
    verb(found('alternating-cases'), 'area', 'alternates', 'alternate'),
    verb(found('unreachable-case'), 'case', 'never taken', 'never taken'),
    found('uncovered-posture') > 0 ? 'postures without a case' : null,
  ].filter(Boolean);
  const others = report.counts.warning - found('alternating-cases', 'unreachable-case', 'uncovered-posture');
  if (others > 0) named.push(named.length > 0 ? `${count(others, 'other warning')}` : count(others, 'warning'));
  return named.join(', ');
}

function verdictText() {
  const { cases_in_force: inForce, context, valid } = report.module;
  if (!context) return 'The module finds no case in it: init reports success, and nothing is ever sent.';
  if (inForce === 0) return 'The module refuses the first case and reads no further: no correction is ever sent.';
  const wrong = defects();
  const rest = wrong === '' ? '.' : `; ${wrong}.`;
  if (!valid || inForce < report.cases.length) {
    return `The module works with the first ${count(inForce, 'case')} of ${report.cases.length} only, the rest is refused or not read${rest}`;
  }
  return `The module accepts ${inForce === 1 ? 'the one case' : `all ${inForce} cases`}${rest}`;
}

function buildHead() {
  const name = visible(report.configuration.name);
  const { error, warning, note } = report.counts;
  const { cases_in_force: inForce, context, valid } = report.module;
  document.title = `${name} \u2013 speaker compensation report`;
  byId('name').textContent = name;
  byId('verdict').textContent = verdictText();
  byId('verdict').classList.toggle('bad', !context || !valid || inForce < report.cases.length || error > 0);
  byId('verdict').classList.toggle('doubtful', warning > 0);
  const fact = (kind, term, ...value) => make('div', { class: kind }, make('dt', {}, term), make('dd', {}, ...value));
  byId('facts').append(
    fact('', 'Cases in force', `${inForce} of ${report.cases.length}`),
    fact('', 'Errors', make('a', { href: '#findings-title', class: error > 0 ? 'bad' : '' }, `${error}`)),
    fact('', 'Warnings', make('a', { href: '#findings-title' }, `${warning}`)),
    fact('', 'Notes', make('a', { href: '#findings-title' }, `${note}`)),
    fact('', 'Sampling rate', `${report.rate_hz} Hz`),
    fact('small', 'Data folder', make('code', {}, visible(report.data_folder))),
    fact('small', 'tavi', `version ${report.version}`));
  const row = (title, sha256) => make('tr', {}, make('th', { scope: 'row' }, title),
    make('td', {}, sha256 === null ? 'cannot be read' : make('code', {}, sha256)));
  byId('hash-title').textContent = `SHA-256 of the configuration and of ${count(report.data_files.length, 'data file')}`;
  byId('hashes').append(make('tbody', {}, row('Configuration', report.configuration.sha256),
    ...(against ? [row('Old configuration', against.sha256)] : []),
    ...report.data_files.map(({ file, sha256 }) => row(make('code', {}, visible(file)), sha256))));
}
