#include "build/pair.h"

#include <cmath>

#include <algorithm>

#include "response/curve.h"
#include "response/level.h"
#include "response/phase.h"
#include "response/shaping.h"

namespace brelmo::tavi::tools {

namespace {

constexpr double kPointsPerOctave = 96.0;

double TargetShape(const Designed& designed, double hz) {
  return designed.options.target ? ValueAt(*designed.options.target, hz) : 0.0;
}

// The measured response, corrected or not, less the target's shape.
double MeanOf(const Designed& designed, Range range, bool is_corrected) {
  const Measurement& measurement = designed.measurement;
  Curve curve = OnGrid({measurement.frequency_hz, measurement.magnitude_db},
                       LogGrid(range, kPointsPerOctave));
  const FineGain correction(SignalOf(designed.design.bins), designed.options.rate);
  for (size_t i = 0; i < curve.hz.size(); ++i) {
    curve.db[i] -= TargetShape(designed, curve.hz[i]);
    if (is_corrected) curve.db[i] += correction.DbAt(curve.hz[i]);
  }
  return MeanWithin(curve, range);
}

// When the sound begins that `measurement` holds from its own time 0 on.
double StartOf(const Designed& designed) {
  const Measurement& measurement = designed.measurement;
  if (measurement.impulse.empty()) return measurement.delay_seconds;
  return static_cast<double>(designed.summary.start_sample) / measurement.impulse_rate_hz;
}

// What is heard of a channel, with its correction, `seconds` after it really is.
std::vector<Complex> HeardBins(const Designed& designed, double seconds) {
  const double rate = designed.options.rate;
  std::vector<Complex> bins = designed.design.bins;
  for (size_t i = 0; i < bins.size(); ++i) {
    const double hz = BinFrequency(i, rate);
    const double degrees = DelayDegrees(hz, seconds + StartOf(designed));
    bins[i] *= ResponseAt(designed.measurement, hz) * std::polar(1.0, degrees * M_PI / 180.0);
  }
  bins.front() = bins.front().real();
  bins.back() = bins.back().real();
  return bins;
}

void Delay(Designed& designed, size_t samples) {
  if (samples + designed.options.taps > kPlayedTaps &&
      designed.options.phase != CorrectionPhase::kLinear) {
    DesignOptions options = designed.options;
    options.taps = std::max(kLeastTaps, kPlayedTaps - std::min(samples, kPlayedTaps));
    designed.design = DesignCorrection(designed.measurement, options);
    designed.options.taps = options.taps;
    for (Complex& bin : designed.design.bins) bin *= FromDb(-designed.lowered_db);
  }
  std::vector<Complex>& bins = designed.design.bins;
  for (size_t i = 0; i < bins.size(); ++i) {
    const size_t turn = i * samples % kFilterLength;
    bins[i] *= std::polar(
        1.0, -2.0 * M_PI * static_cast<double>(turn) / static_cast<double>(kFilterLength));
  }
  bins.front() = bins.front().real();
  bins.back() = bins.back().real();
  designed.delay_samples = samples;
}

}  // namespace

double OwnLevel(const Designed& designed) {
  return designed.options.level == LevelRule::kAbsolute
             ? designed.options.level_db
             : MeanOf(designed, designed.design.corrected, false);
}

double TargetDb(const Designed& designed, double hz) {
  return OwnLevel(designed) + TargetShape(designed, hz);
}

std::string LevelPair(Designed& left, Designed& right) {
  const bool is_left_absolute = left.options.level == LevelRule::kAbsolute;
  const bool is_right_absolute = right.options.level == LevelRule::kAbsolute;
  if (is_left_absolute && is_right_absolute) return "";
  if (is_left_absolute || is_right_absolute) {
    return "one of its levels is absolute and the other is not";
  }
  if (left.target_name != right.target_name) return "its channels have different targets";
  const Range common{std::max(left.design.corrected.from_hz, right.design.corrected.from_hz),
                     std::min(left.design.corrected.to_hz, right.design.corrected.to_hz)};
  if (!(common.from_hz < common.to_hz)) return "its channels are corrected in different ranges";
  const double difference = MeanOf(left, common, true) - MeanOf(right, common, true);
  Designed& louder = difference > 0.0 ? left : right;
  louder.lowered_db = std::abs(difference);
  for (Complex& bin : louder.design.bins) bin *= FromDb(-louder.lowered_db);
  return "";
}

DelayMatch MatchDelay(Designed& left, Designed& right) {
  const std::string not_matched = "the delays are not matched: ";
  if (!left.measurement.has_phase() || !right.measurement.has_phase()) {
    return {not_matched + "a measurement has no phase that can be used", Severity::kError,
            "nothing is built; measure with phase or as an impulse response, or leave out "
            "match_delay"};
  }
  if (left.measurement.impulse.empty() != right.measurement.impulse.empty()) {
    return {not_matched +
                "one measurement is an impulse response and the other a text of another "
                "time base",
            Severity::kError, "nothing is built; measure both alike, or leave out match_delay"};
  }
  const double start = std::min(StartOf(left), StartOf(right));
  const double apart = std::abs(StartOf(left) - StartOf(right)) * left.options.rate;
  if (apart > static_cast<double>(kPlayedTaps) / 2) {
    return {
        not_matched + "the channels are " + std::to_string(std::lround(apart)) + " samples apart",
        Severity::kError,
        "nothing is built: a filter cannot delay that far; the measurements may have no time "
        "base in common"};
  }
  const PairDifference difference =
      ComparePair(HeardBins(left, -start), HeardBins(right, -start), left.options.rate);
  const auto samples = std::lround(difference.delay_samples);
  if (samples > 0) Delay(left, static_cast<size_t>(samples));
  if (samples < 0) Delay(right, static_cast<size_t>(-samples));
  if (difference.is_inverted) {
    return {"the channels are matched in time, but one plays the other way round",
            Severity::kWarning,
            "between the two the bass cancels; swap a speaker's wires, or gain it by -1 elsewhere"};
  }
  constexpr double kDoubtful = 0.4;
  if (difference.similarity < kDoubtful) {
    return {"the channels are matched in time, but hardly alike", Severity::kWarning,
            "their delay is doubtful: look at it, or leave out match_delay"};
  }
  return {};
}

}  // namespace brelmo::tavi::tools
