// ---- What the report is laid against ----------------------------------------------------------

// The old case beside a case, as a number of allCases: the one that the selected posture took, or
// the one that became this.
function oldOf(number, run = null) {
  const { old } = run || {};
  const there = [old && run.taken === number && old.taken,
    old && run.alternate === number && (old.alternate === null ? old.taken : old.alternate)];
  const taken = there.find(Number.isInteger);
  if (taken !== undefined) return report.cases.length + taken;
  const pair = against.pairs.find((each) => each.new_case === number);
  return pair ? report.cases.length + pair.old_case : null;
}

const isOtherCase = (run) => Boolean(run.old && run.old.other_case);

const gainText = ({ largest_db: largest, largest_hz: at, rms_db: rms }) =>
  `${signed(largest)} dB at ${decimal(at, 0)} Hz at most, ${decimal(rms, 2)} dB rms`;

// How the first of two cases differs from the other, an old one.
function changeFigures([number, old], channel) {
  if (old === undefined || !isOld(old)) return [];
  const pair = against.pairs.find((each) => each.new_case === number && each.old_case === oldNumber(old));
  const change = pair && pair[channel];
  if (!change) return [];
  const title = make('strong', {}, `Against ${caseTitle(old).toLowerCase()}. `);
  const said = (text) => [make('p', { class: 'hint' }, title, text)];
  if (change.same) return said('The same is sent.');
  if (change.what) return said(`There are ${change.what}.`);
  const samples = decimal(Math.abs(change.delay_samples), 2);
  const time = change.similarity < 0.5 ? 'too unlike for a delay between them to mean anything'
    : `${Number(samples) === 0 ? 'no delay' : `${samples} samples ${change.delay_samples > 0 ? 'later' : 'earlier'}`}, ${change.inverted ? 'opposite' : 'same'} polarity`;
  return said(`300 to 8000 Hz: ${gainText(change.from_300_to_8000_hz)}; level ${signed(change.level_db)} dB, without it ${decimal(change.without_level.rms_db, 2)} dB rms; ${time}.`);
}

// What changed, in all.
function buildAgainst() {
  if (!against) return;
  byId('against').hidden = false;
  byId('against-note').append('Against ', make('code', {}, visible(against.name)), `: ${against.summary}.`);
  const { rules, postures, only_text: onlyText } = against.diff;
  byId('against-rules').append(...rules.map((text) => make('li', {}, visible(text))),
    ...onlyText.map((text) => make('li', {}, `${visible(text)} (changes nothing that is sent)`)));
  byId('against-rules').classList.toggle('long', rules.length + onlyText.length > LONG_LIST);
  if (postures.length === 0) return;
  const channelText = (change) => (!change ? '' : change.same ? 'the same' : change.what || gainText(change.from_300_to_8000_hz));
  const caseText = (each) => {
    const text = each.new_case === null ? 'no case' : `case ${each.new_case}`;
    const was = each.other_case ? ` instead of ${each.old_case === null ? 'none' : each.old_case}` : '';
    return `${text}${was}${each.alternate ? ', by every other update' : ''}`;
  };
  const placeOfChange = (each) => runs.find((run) => [run.taken, run.alternate].includes(each.new_case) &&
    [run.old.taken, run.old.alternate].includes(each.old_case));
  byId('against-postures').classList.toggle('long', postures.length > LONG_LIST);
  byId('against-postures').append(make('table', {},
    make('thead', {}, make('tr', {}, ...['Postures', 'Taken', 'Left, 300 to 8000 Hz', 'Right, 300 to 8000 Hz'].map((text) =>
      make('th', { scope: 'col' }, text)))),
    make('tbody', {}, ...postures.map((each) => {
      const run = placeOfChange(each);
      return make('tr', {}, make('td', { 'data-title': 'Postures' }, each.postures),
        make('td', { 'data-title': 'Taken' }, run ? showButton(caseText(each), () => selectPosture(run.from, run.rotation)) : caseText(each)),
        ...CHANNELS.map((channel) => make('td', { 'data-title': CHANNEL_TITLES[channel] }, channelText(each[channel]))));
    }))));
}
