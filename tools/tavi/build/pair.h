// Two measured channels of a posture, heard at once.
#pragma once

#include <string>

#include "console/finding.h"
#include "response/design.h"
#include "response/measurement.h"
#include "response/reading_summary.h"

namespace brelmo::tavi::tools {

// A measured channel and its correction.
struct Designed {
  Measurement measurement;
  ReadingSummary summary;
  DesignOptions options;
  std::string target_name;
  Design design;
  double lowered_db = 0.0;   // for the pair's level
  size_t delay_samples = 0;  // for the pair's time
};

// Where the target stands in dB of the measurement's scale: by the options, or its mean within what
// is corrected.
double OwnLevel(const Designed& designed);
// With that level, at a frequency.
double TargetDb(const Designed& designed, double hz);

// Lowers the louder of the corrected channels by the mean difference from their target in the range
// that both are corrected in. Absolute levels are what the source says, and stay. Returns why it
// could not be done; empty when it was.
std::string LevelPair(Designed& left, Designed& right);

struct DelayMatch {
  std::string fault;  // empty for none
  Severity severity = Severity::kError;
  std::string consequence;
};

// Delays the earlier of the corrected channels by whole samples; its filter gets so many taps fewer
// as the DSP could otherwise not play. The measurements share a time base: nothing tells whether
// they do.
DelayMatch MatchDelay(Designed& left, Designed& right);

}  // namespace brelmo::tavi::tools
