// A correction within limits for a measured loudspeaker.
#pragma once

#include <cstddef>

#include <optional>
#include <string>
#include <vector>

#include "console/finding.h"
#include "response/curve.h"
#include "response/filter_time.h"
#include "response/mask.h"
#include "response/measurement.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

enum class CorrectionPhase {
  kMinimum,
  kLinear,
  kExcess,  // minimum, and against what the measurement's phase has beyond its own minimum
};

enum class LevelRule {
  kMean,      // the correction's mean over the range is 0 dB
  kPeak,      // its highest gain is 0 dB: it only cuts
  kAbsolute,  // the target stands at `level_db` of the measurement's own scale
};

// What the options of a design and of an import may be, as options of commands and as keys of a
// source.
struct Bounds {
  double low = 0.0;
  double high = 0.0;
};
constexpr Bounds kBoostBounds{0.0, 60.0};
constexpr Bounds kCutBounds{0.0, 100.0};
constexpr Bounds kSmoothingBounds{1.0, 96.0};
constexpr Bounds kRegularisationBounds{0.0, 60.0};
constexpr Bounds kLevelBounds{-300.0, 300.0};
constexpr Bounds kGainBounds{-200.0, 200.0};
constexpr Bounds kRateBounds{2000.0, 768000.0};
constexpr int kMostBands = 24;

// What users call the target that is none of a file.
constexpr const char* kFlatTarget = "flat";

struct DesignOptions {
  double rate = 48000.0;
  std::optional<Curve> target;  // flat without
  Range range{300.0, 8000.0};
  double max_boost_db = 6.0;  // 0 or more
  double max_cut_db = 12.0;   // 0 or more
  double smoothing = 6.0;     // 1/N octave
  // The gain that the inverse bends back at: deeper dips are lifted less, not more.
  std::optional<double> regularisation_db;
  CorrectionPhase phase = CorrectionPhase::kMinimum;
  size_t taps = kPlayedTaps;  // kLeastTaps to kFilterLength
  LevelRule level = LevelRule::kMean;
  double level_db = 0.0;
  std::optional<Mask> mask;
  int bands = 3;  // of the mask: 1/N octave
};

// Where the inverse wants more than a limit grants.
struct BindingLimit {
  bool is_boost = false;
  Range range;
};

struct Deviation {
  double rms_db = 0.0;
  double largest_db = 0.0;  // a magnitude
};

struct Design {
  std::vector<Complex> bins;  // 257, as the module will have them
  Range corrected;            // what is left of the range within the data and the rate
  std::vector<BindingLimit> binding;
  // From the target within the corrected range, of the smoothed response; the level counts when it
  // is absolute.
  Deviation before;
  Deviation after;
  GainExtremes gain;  // between the bins too
  FilterTime time;
  double excess_share = 0.0;  // of the excess phase that is corrected, 0 to 1
  std::optional<MaskMargin> mask_before;
  std::optional<MaskMargin> mask_after;
  std::vector<Finding> findings;
};

// No gain of the result is above `max_boost_db` by more than 0.001 dB, nor below -`max_cut_db` by
// more than 0.05 dB, between the bins too. Where a finding is an error (the data and the rate leave
// nothing of the range; kExcess has no phase to work on) there are no bins. Pure, and safe on any
// thread.
Design DesignCorrection(const Measurement& measurement, const DesignOptions& options);

}  // namespace brelmo::tavi::tools
