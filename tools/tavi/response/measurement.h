// A frequency response as it was measured, or made elsewhere, and read from a file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

struct Measurement {
  std::string name;  // of the file
  // As long as each other. Frequencies ascend and are above 0.
  std::vector<double> frequency_hz;
  std::vector<double> magnitude_db;
  // Unwrapped, in the field's sign: a delay makes it fall as the frequency rises. Empty when there
  // is none that can be used.
  std::vector<double> phase_degrees;
  // What was taken off the phase, for a filter that is not to be delayed; 0 for none.
  double delay_seconds = 0.0;
  // Of an impulse response: the samples from the start that was chosen to the end of the window,
  // and their rate. Empty, and 0, for a response read from text.
  std::vector<double> impulse;
  double impulse_rate_hz = 0.0;

  bool has_phase() const { return !phase_degrees.empty(); }
};

}  // namespace brelmo::tavi::tools
