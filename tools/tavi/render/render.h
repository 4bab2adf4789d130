// Makes a posture change audible: a recording through the virtual DSP, which a scenario's module
// sets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "render/audio_file.h"
#include "render/dsp_player.h"
#include "render/dsp_timeline.h"
#include "render/meters.h"
#include "response/measurement.h"

namespace brelmo::tavi::tools {

struct RenderOptions {
  DspModel dsp;
  SampleFormat format = SampleFormat::k16;
  bool normalises = false;    // to kNormalisedPeakDb
  double turn_seconds = 4.0;  // where there is a reference
};

constexpr double kNormalisedPeakDb = -1.0;

// All are borrowed.
struct RenderSources {
  std::string audio;
  const DspTimeline& timeline;
  // What is played by turns with the timeline, and first, both equally loud; may be null. One
  // without changes is the bypass.
  const DspTimeline* reference = nullptr;
  const std::vector<Measurement>& loudspeakers;  // one, or left and right; empty for none
};

// What is in force from a block on, by one or more writes.
struct ChangeResult {
  double seconds = 0.0;
  std::string event;
  std::string what;      // "case 3", "bypass", "case 3; a write was refused with -5"
  StepMeter::Step step;  // as loud as it is written
};

struct RenderResult {
  int file_rate = 0;
  size_t file_channels = 0;
  bool is_resampled = false;
  double seconds = 0.0;
  double gain_db = 0.0;  // of normalising
  // With a reference, which is the second: what makes both equally loud.
  std::array<double, 2> turn_gain_db{};
  double loudspeaker_gain_db = 0.0;
  std::string loudspeaker_time_fault;  // see Loudspeakers
  std::vector<ChangeResult> changes;
  size_t changes_behind_end = 0;    // that nothing is left to hear of
  std::vector<std::string> faults;  // writes that this DSP cannot play
  std::optional<ClipMeter> clipping;
  std::vector<SchemeError> errors;  // see DspPlayer::SchemeErrors
};

// The output is as long as the input, and starts with it: the scheme's own delay is taken off. The
// stream is borrowed. The same input gives the same bytes. Throws InputError.
RenderResult Render(const RenderSources& sources, const RenderOptions& options, std::FILE* stream);

}  // namespace brelmo::tavi::tools
