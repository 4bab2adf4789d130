// A frequency response as it was measured, or made elsewhere, and read from a file.
#pragma once

#include <complex>
#include <cstddef>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

struct Measurement {
  std::string name;  // of the file
  // As long as each other, two points at least. Frequencies ascend and are above 0; of an impulse
  // response they end at half its rate.
  std::vector<double> frequency_hz;
  std::vector<double> magnitude_db;  // finite
  // Unwrapped, in the field's sign: a delay makes it fall as the frequency rises. Empty without
  // a usable phase.
  std::vector<double> phase_degrees;
  // What was taken off the phase, for a filter that is not to be delayed; 0 when nothing was.
  double delay_seconds = 0.0;
  // Of an impulse response: the samples from the start that was chosen to the end of the window,
  // and their rate. Empty, and 0, for a response read from text.
  std::vector<double> impulse;
  double impulse_rate_hz = 0.0;
  // When the first of `impulse` is played; 0 unless a file that knows its time base was read with
  // its delay kept. May be negative, and between two samples.
  double impulse_time_seconds = 0.0;

  bool has_phase() const { return !phase_degrees.empty(); }
};

// The response at any frequency. One of text is interpolated, its dB and its unwrapped phase each
// linearly in the logarithm of the frequency, and holds the value of its first and last point
// outside of them. One of an impulse response is evaluated, at 0 Hz too, and holds its value above
// half its rate. Magnitudes are at least kLeastMagnitudeDb.
constexpr double kLeastMagnitudeDb = -300.0;
double MagnitudeDbAt(const Measurement& measurement, double frequency_hz);
// Unwrapped; 0 without phase.
double PhaseDegreesAt(const Measurement& measurement, double frequency_hz);
// Both in one. Without phase a real value.
std::complex<double> ResponseAt(const Measurement& measurement, double frequency_hz);

}  // namespace brelmo::tavi::tools
