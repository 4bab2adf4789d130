// A channel's response in the terms in which an engineer reads it.
#pragma once

#include <cstddef>
#include <vector>

namespace brelmo::tavi::tools {

// A value for each bin.
struct FrequencyResponse {
  // Negative infinity where both parts are 0, NaN where one of them is.
  std::vector<double> magnitude_db;
  // Unwrapped: from one bin to the next the phase turns by half a turn at most. NaN where there is
  // none, in a bin of 0 or NaN; the bin behind such a gap goes on from the one before it.
  std::vector<double> phase_degrees;
};

// `raw_data`: real and imaginary part of bin 0, of bin 1, ...
FrequencyResponse MakeFrequencyResponse(const std::vector<float>& raw_data);

}  // namespace brelmo::tavi::tools
