// How one response differs from another, in the terms in which it is heard.
#pragma once

#include <vector>

#include "response/curve.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

constexpr Range kSpeechRange{300.0, 8000.0};

// Of gains in dB, the new less the old.
struct GainDifference {
  double largest_db = 0.0;  // with its sign
  double largest_hz = 0.0;
  double rms_db = 0.0;
};

struct ResponseDifference {
  // What any bin differs by at most, phase included: 20 log10(1 + |new - old| / |the smaller|),
  // which is the difference of their levels where the phase is the same. What lies 80 dB below the
  // highest bin is measured against that.
  double deviation_db = 0.0;
  GainDifference speech;  // over 300 to 8000 Hz
  GainDifference all;
  double level_db = 0.0;       // the mean in the speech's range
  GainDifference remaining;    // there, without that level
  double delay_samples = 0.0;  // how much later the new one is
  bool is_inverted = false;    // it plays the other way round
  double similarity = 0.0;     // 0 to 1: low values make delay and polarity doubtful
};

// Both have as many bins, two at least.
ResponseDifference CompareResponses(const std::vector<Complex>& old_bins,
                                    const std::vector<Complex>& new_bins, double rate);

}  // namespace brelmo::tavi::tools
