#include "response/measurement.h"

#include <cmath>

#include <algorithm>

#include "response/curve.h"
#include "response/spectrum.h"

namespace brelmo::tavi::tools {

namespace {

// Rounding adds up for so long before a phasor is set anew.
constexpr size_t kPhasorSteps = 512;

std::complex<double> Evaluate(const Measurement& measurement, double frequency_hz) {
  const std::vector<double>& samples = measurement.impulse;
  const double turns = frequency_hz / measurement.impulse_rate_hz;
  const std::complex<double> step = std::polar(1.0, -2.0 * M_PI * turns);
  std::complex<double> sum;
  std::complex<double> phasor;
  for (size_t i = 0; i < samples.size(); ++i) {
    if (i % kPhasorSteps == 0) {
      const double angle = std::remainder(turns * static_cast<double>(i), 1.0);
      phasor = std::polar(1.0, -2.0 * M_PI * angle);
    }
    sum += samples[i] * phasor;
    // The product itself: the operator looks for infinities besides.
    phasor = {phasor.real() * step.real() - phasor.imag() * step.imag(),
              phasor.real() * step.imag() + phasor.imag() * step.real()};
  }
  const double lead = std::remainder(frequency_hz * measurement.impulse_time_seconds, 1.0);
  return sum * std::polar(1.0, -2.0 * M_PI * lead);
}

double WithinRate(const Measurement& measurement, double frequency_hz) {
  return std::min(frequency_hz, measurement.impulse_rate_hz / 2.0);
}

}  // namespace

double MagnitudeDbAt(const Measurement& measurement, double frequency_hz) {
  if (measurement.impulse.empty()) {
    return ValueAt(measurement.frequency_hz, measurement.magnitude_db, frequency_hz);
  }
  const double magnitude = std::abs(Evaluate(measurement, WithinRate(measurement, frequency_hz)));
  return std::max(ToDb(magnitude), kLeastMagnitudeDb);
}

double PhaseDegreesAt(const Measurement& measurement, double frequency_hz) {
  if (!measurement.has_phase()) return 0.0;
  const double near = ValueAt(measurement.frequency_hz, measurement.phase_degrees, frequency_hz);
  if (measurement.impulse.empty()) return near;
  const double exact =
      std::arg(Evaluate(measurement, WithinRate(measurement, frequency_hz))) * kDegreesPerRadian;
  return near + std::remainder(exact - near, kTurn);
}

std::complex<double> ResponseAt(const Measurement& measurement, double frequency_hz) {
  if (!measurement.impulse.empty()) {
    return Evaluate(measurement, WithinRate(measurement, frequency_hz));
  }
  const double magnitude = FromDb(MagnitudeDbAt(measurement, frequency_hz));
  return std::polar(magnitude, PhaseDegreesAt(measurement, frequency_hz) / kDegreesPerRadian);
}

}  // namespace brelmo::tavi::tools
