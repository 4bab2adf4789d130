#include "response/frequency_response.h"

#include <cmath>

#include <limits>
#include <optional>

#include "response/spectrum.h"

namespace brelmo::tavi::tools {

FrequencyResponse MakeFrequencyResponse(const std::vector<float>& raw_data) {
  FrequencyResponse response;
  response.magnitude_db.reserve(raw_data.size() / 2);
  response.phase_degrees.reserve(raw_data.size() / 2);
  std::optional<double> last_phase;
  for (size_t i = 0; i + 1 < raw_data.size(); i += 2) {
    const double real = raw_data[i];
    const double imaginary = raw_data[i + 1];
    // In double precision no pair of floats is too large or too small for it.
    const double magnitude = std::hypot(real, imaginary);
    response.magnitude_db.push_back(ToDb(magnitude));
    if (magnitude > 0.0) {
      double phase = std::atan2(imaginary, real) * kDegreesPerRadian;
      if (last_phase) phase = *last_phase + std::remainder(phase - *last_phase, kTurn);
      last_phase = phase;
      response.phase_degrees.push_back(phase);
    } else {
      response.phase_degrees.push_back(std::numeric_limits<double>::quiet_NaN());
    }
  }
  return response;
}

}  // namespace brelmo::tavi::tools
