// A correction that was made elsewhere, as bins. It is never inverted.
#pragma once

#include <cstddef>

#include <string>
#include <vector>

#include "console/finding.h"
#include "response/filter_time.h"
#include "response/measurement.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

struct ImportOptions {
  double rate = 48000.0;
  bool is_minimum_phase = false;  // instead of the file's own, where it has one that can be used
  size_t taps = kFilterLength;    // fewer cut and fade
  double gain_db = 0.0;
  bool is_delay_removed = false;
};

struct Import {
  std::vector<Complex> bins;  // 257, as the module will have them
  bool is_minimum_phase = false;
  double removed_delay_seconds = 0.0;
  double cut_away_db =
      0.0;  // energy beyond the taps that were kept, as a share; -infinity for none
  GainExtremes gain;
  FilterTime time;
  std::vector<Finding> findings;
};

// Pure, and safe on any thread.
Import ImportCorrection(const Measurement& correction, const ImportOptions& options);

}  // namespace brelmo::tavi::tools
