#include "response/import_correction.h"

#include <cmath>
#include <cstddef>

#include <algorithm>

#include "console/wording.h"
#include "response/curve.h"
#include "response/data_file.h"
#include "response/minimum_phase.h"
#include "response/shaping.h"

namespace brelmo::tavi::tools {

namespace {

// Up to where the correction says something.
double LastFrequencyOf(const Measurement& correction) {
  return correction.impulse.empty() ? correction.frequency_hz.back()
                                    : correction.impulse_rate_hz / 2;
}

// Below the first point the phase runs to a real value at 0 Hz; above the last one the delay there
// goes on.
double PhaseAt(const Measurement& correction, double hz) {
  const std::vector<double>& at = correction.frequency_hz;
  const std::vector<double>& degrees = correction.phase_degrees;
  if (hz < at.front()) {
    const double real = 180.0 * std::round(degrees.front() / 180.0);
    return real + (degrees.front() - real) * hz / at.front();
  }
  if (hz > at.back() && at.size() > 1) {
    const size_t last = at.size() - 1;
    const double slope = (degrees[last] - degrees[last - 1]) / (at[last] - at[last - 1]);
    return degrees[last] + slope * (hz - at[last]);
  }
  return ValueAt(at, degrees, hz);
}

// The response at `count` points from 0 Hz to half the rate; beyond its ends the magnitude is held.
std::vector<Complex> Sampled(const Measurement& correction, double rate, size_t count) {
  std::vector<Complex> bins;
  bins.reserve(count);
  for (size_t k = 0; k < count; ++k) {
    const double hz = BinFrequency(k, rate, 2 * (count - 1));
    if (correction.impulse.empty()) {
      const double gain = FromDb(ValueAt(correction.frequency_hz, correction.magnitude_db, hz));
      const double degrees = correction.has_phase() ? PhaseAt(correction, hz) : 0.0;
      bins.push_back(std::polar(gain, degrees / kDegreesPerRadian));
    } else {
      bins.push_back(ResponseAt(correction, hz));
    }
  }
  return bins;
}

// The filter at the DSP's rate, on a circle.
std::vector<double> FilterOf(const Measurement& correction, double rate) {
  const double start = correction.impulse_time_seconds * rate;
  constexpr double kWhole = 1e-6;
  if (correction.impulse.empty() || correction.impulse_rate_hz != rate ||
      std::abs(start - std::round(start)) > kWhole) {
    return SignalOf(Sampled(correction, rate, kCepstrumSize / 2 + 1));
  }
  const auto first = static_cast<std::ptrdiff_t>(std::lround(start));
  size_t size = kCepstrumSize;
  while (size < 2 * (correction.impulse.size() + static_cast<size_t>(std::abs(first)))) size *= 2;
  std::vector<double> filter = correction.impulse;
  filter.resize(size);
  const auto turned = first >= 0 ? static_cast<std::ptrdiff_t>(size) - first : -first;
  std::rotate(filter.begin(), filter.begin() + turned, filter.end());
  return filter;
}

std::vector<double> WithMinimumPhase(const std::vector<double>& filter) {
  std::vector<double> gains;
  for (const Complex& bin : BinsOf(filter, filter.size())) gains.push_back(std::abs(bin));
  return SignalOf(MinimumPhase(gains));
}

// What stands on the circle from sample `from` to `to`, as a share of the whole.
double StretchDb(const std::vector<double>& filter, size_t from, size_t to) {
  double part = 0.0;
  double whole = 0.0;
  for (size_t i = 0; i < filter.size(); ++i) {
    const double energy = filter[i] * filter[i];
    whole += energy;
    if (i >= from && i < to) part += energy;
  }
  return ShareDb(part, whole);
}

void Tell(const Measurement& correction, const ImportOptions& options, Import& import) {
  const double last_hz = LastFrequencyOf(correction);
  if (last_hz < options.rate / 2 * 0.999) {
    import.findings.push_back(MakeFinding(
        "held-beyond-data", Severity::kNote, std::nullopt,
        "above " + HzText(last_hz) + " the correction says nothing",
        "its last value is held up to half the sampling rate, " + HzText(options.rate / 2)));
  }
  if (import.is_minimum_phase && !options.is_minimum_phase) {
    import.findings.push_back(MakeFinding("phase-derived", Severity::kNote, std::nullopt,
                                          "the correction has no phase that can be used",
                                          "it gets the minimum phase of its magnitude"));
  }
  constexpr double kAudibleDb = -30.0;
  if (import.cut_away_db > kAudibleDb) {
    const bool folds = options.taps == kFilterLength;
    import.findings.push_back(MakeFinding(
        "correction-cut", Severity::kWarning, std::nullopt,
        Format("%.1f dB of the correction's energy lies ", import.cut_away_db) +
            (folds ? "beyond the 512 samples that a data file stands for, and folds over onto them"
                   : "outside the " + std::to_string(options.taps) + " taps that are kept"),
        "the file plays something else: take --phase minimum or --remove-delay, which shorten it, "
        "or make a shorter one"));
  }
}

}  // namespace

Import ImportCorrection(const Measurement& correction, const ImportOptions& options) {
  Import import;
  import.is_minimum_phase =
      options.is_minimum_phase || (correction.impulse.empty() && !correction.has_phase());
  std::vector<double> filter = FilterOf(correction, options.rate);
  if (import.is_minimum_phase) filter = WithMinimumPhase(filter);
  if (options.is_delay_removed) {
    import.removed_delay_seconds = correction.delay_seconds;
    // What a response's phase leaves may begin somewhat early: that goes the other way.
    constexpr double kNotItsBeginningDb = -40.0;
    const int start = ArcOf(filter, kNotItsBeginningDb).start;
    const auto size = static_cast<int>(filter.size());
    std::rotate(filter.begin(), filter.begin() + (start >= 0 ? start : size + start), filter.end());
    import.removed_delay_seconds += start / options.rate;
  }
  if (options.taps < kFilterLength) {
    import.cut_away_db = StretchDb(filter, options.taps, filter.size());
    filter = CutAndFaded(filter, options.taps);
  } else {
    // Each bin is the response at its frequency. What lies beyond 512 samples folds over; what
    // comes early stands at the circle's end, where it belongs.
    import.cut_away_db = StretchDb(filter, kFilterLength, filter.size() - kFilterLength / 2);
    std::vector<double> folded(kFilterLength);
    for (size_t i = 0; i < filter.size(); ++i) folded[i % kFilterLength] += filter[i];
    filter = folded;
  }
  const double gain = FromDb(options.gain_db);
  for (double& sample : filter) sample *= gain;
  import.bins = AsFloats(BinsOf(filter));
  import.time = MakeFilterTime(import.bins, options.rate);
  import.gain = ExtremesOf(import.time.impulse, options.rate);
  Tell(correction, options, import);
  return import;
}

}  // namespace brelmo::tavi::tools
