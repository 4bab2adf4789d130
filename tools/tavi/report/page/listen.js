// ---- Listening --------------------------------------------------------------------------------

// One player; what is chosen goes on where the other was, so that two cases can be told apart.
function buildListen() {
  const { listen } = report;
  if (!listen) return;
  const player = make('audio', { controls: true, loop: true, preload: 'auto', 'aria-labelledby': 'listen-title' });
  const play = (sample) => {
    const at = player.currentTime;
    const isPlaying = !player.paused;
    player.src = `data:audio/flac;base64,${sample.flac}`;
    player.currentTime = at;
    if (isPlaying) player.play();
  };
  const titleOf = ({ cases }) => (cases.length === 0 ? 'Bypassed' : `Case ${ranges(cases)}`);
  byId('listen-choices').append(...listen.samples.map((sample, index) => make('label', {},
    make('input', { type: 'radio', name: 'heard', checked: index === 0, onchange: () => play(sample) }),
    make('span', {}, titleOf(sample)))));
  byId('listen-player').append(player);
  const said = [`The first ${decimal(listen.seconds, 1)} s of ${visible(listen.audio)} at ${hertz(listen.rate_hz)}, ${listen.scheme}`];
  if (listen.gain_db < 0) said.push(`all ${decimal(-listen.gain_db, 1)} dB quieter, so that nothing clips`);
  if (listen.left_out.length > 0) said.push(`without case ${ranges(listen.left_out)}, which the DSP cannot play`);
  byId('listen-note').textContent = `${said.join('; ')}. Both channels differ: use headphones.`;
  byId('listen').hidden = false;
  play(listen.samples[0]);
}
