#include "response/design.h"

#include <cmath>

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

#include "response/data_file.h"
#include "response/shaping.h"
#include "response/smoothing.h"

namespace brelmo::tavi::tools {

namespace {

constexpr double kGridFromHz = 10.0;
constexpr double kGridPointsPerOctave = 96.0;
// Of the correction about where a limit binds: it rounds the corners there.
constexpr double kRoundingOctaves = 1.0 / 6;
// A bin's part below this comes from rounding alone.
constexpr double kNothing = 1e-12;
// What the file may be beyond its limits, less some room for the last digit.
constexpr double kBoostRoomDb = 0.0003;
constexpr double kCutRoomDb = 0.02;
constexpr double kMostPreRingingDb = -30.0;

// The measurement, against the target, on the grid.
struct Task {
  Curve smoothed;
  Curve target;
  Curve wanted;  // the correction without limits
  double upper_db = 0.0;
  double lower_db = 0.0;
  Curve limited;  // within the limits, rounded, and 0 dB outside the range
};

bool IsWithin(Range range, double hz) { return hz >= range.from_hz && hz <= range.to_hz; }

// 1 within the range, 0 from an octave outside it on.
double RangeWeight(Range range, double hz) {
  const double outside =
      std::max({0.0, std::log2(range.from_hz / hz), std::log2(hz / range.to_hz)});
  return outside < 1.0 ? (1.0 + std::cos(M_PI * outside)) / 2 : 0.0;
}

// The gain that undoes a deviation of `deviation_db`. Regularised, it rises to `most_db` where the
// deviation is about as low as that, falls for what is lower still, and stays 0 dB for no
// deviation.
double InverseDb(double deviation_db, std::optional<double> most_db) {
  if (!most_db) return -deviation_db;
  const double most = FromDb(std::max(*most_db, 0.0));
  const double root = most - std::sqrt(most * most - 1.0);
  const double measured = FromDb(deviation_db);
  return ToDb((1.0 + root * root) * measured / (measured * measured + root * root));
}

// The correction follows what it is at the edges of the range to 0 dB; how the data go on does not
// matter.
Curve HeldOutside(const Curve& curve, Range range) {
  Curve held = curve;
  const double first = ValueAt(curve, range.from_hz);
  const double last = ValueAt(curve, range.to_hz);
  for (size_t i = 0; i < held.hz.size(); ++i) {
    if (held.hz[i] < range.from_hz) held.db[i] = first;
    if (held.hz[i] > range.to_hz) held.db[i] = last;
  }
  return held;
}

// Within the limits; smoothed near where they bind, and only there.
Curve Limited(const Curve& wanted, double lower_db, double upper_db) {
  Curve clamped = wanted;
  Curve nearness = wanted;
  for (size_t i = 0; i < wanted.db.size(); ++i) {
    clamped.db[i] = std::clamp(wanted.db[i], lower_db, upper_db);
    nearness.db[i] = clamped.db[i] == wanted.db[i] ? 0.0 : 1.0;
  }
  const Curve rounded = Smoothed(clamped, kRoundingOctaves);
  nearness = Smoothed(nearness, 2 * kRoundingOctaves);
  for (size_t i = 0; i < clamped.db.size(); ++i) {
    constexpr double kNear = 4.0;
    const double share = std::min(1.0, kNear * nearness.db[i]);
    clamped.db[i] += share * (rounded.db[i] - clamped.db[i]);
  }
  return clamped;
}

Task MakeTask(const Measurement& measurement, const DesignOptions& options, Range range) {
  const std::vector<double> grid = LogGrid({kGridFromHz, options.rate / 2}, kGridPointsPerOctave);
  Task task;
  task.smoothed = Smoothed(OnGrid({measurement.frequency_hz, measurement.magnitude_db}, grid),
                           1.0 / options.smoothing);
  task.target = options.target ? OnGrid(*options.target, grid)
                               : Curve{grid, std::vector<double>(grid.size(), 0.0)};
  Curve deviation = task.smoothed;
  for (size_t i = 0; i < grid.size(); ++i) deviation.db[i] -= task.target.db[i];
  const double level =
      options.level == LevelRule::kAbsolute ? options.level_db : MeanWithin(deviation, range);
  for (double& db : task.target.db) db += level;
  for (double& db : deviation.db) db -= level;

  task.wanted = deviation;
  for (double& db : task.wanted.db) db = InverseDb(db, options.regularisation_db);
  task.wanted = HeldOutside(task.wanted, range);
  task.upper_db =
      std::min(options.max_boost_db, options.regularisation_db.value_or(options.max_boost_db));
  task.lower_db = -options.max_cut_db;
  if (options.level == LevelRule::kPeak) {
    // Below what the boost limit leaves of the highest: one deep dip must not pull all of it down.
    double highest = task.lower_db;
    for (const double db : task.wanted.db) highest = std::max(highest, std::min(db, task.upper_db));
    for (double& db : task.wanted.db) db -= highest;
    task.upper_db = std::min(task.upper_db, 0.0);
  }
  task.limited = Limited(task.wanted, task.lower_db, task.upper_db);
  for (size_t i = 0; i < grid.size(); ++i) task.limited.db[i] *= RangeWeight(range, grid[i]);
  return task;
}

std::vector<BindingLimit> BindingOf(const Task& task, Range range) {
  constexpr double kNoticeableDb = 0.05;
  std::vector<BindingLimit> binding;
  int last_side = 0;
  for (size_t i = 0; i < task.wanted.hz.size(); ++i) {
    const double hz = task.wanted.hz[i];
    const double db = task.wanted.db[i];
    int side = 0;
    if (IsWithin(range, hz) && db > task.upper_db + kNoticeableDb) side = 1;
    if (IsWithin(range, hz) && db < task.lower_db - kNoticeableDb) side = -1;
    if (side != 0 && side != last_side) binding.push_back({side > 0, {hz, hz}});
    if (side != 0) binding.back().range.to_hz = hz;
    last_side = side;
  }
  return binding;
}

// The filter of a correction curve, 512 samples.
using Maker = std::function<std::vector<double>(const Curve&)>;

struct Made {
  std::vector<Complex> bins;
  GainExtremes gain;
  double strength = 1.0;  // of the correction, in dB, that the limits left
};

Made Make(const Curve& curve, const Maker& maker, double rate) {
  Made made;
  made.bins = BinsOf(maker(curve));
  for (Complex& bin : made.bins) {
    bin = {std::abs(bin.real()) < kNothing ? 0.0 : bin.real(),
           std::abs(bin.imag()) < kNothing ? 0.0 : bin.imag()};
  }
  made.bins = AsFloats(made.bins);
  made.gain = ExtremesOf(SignalOf(made.bins), rate);
  return made;
}

// A curve whose filter, once it is cut off, comes nearer to `wanted`: cutting blurs, and what it
// blurs is added beforehand, as far as that helps within the range.
Curve Sharpened(const Curve& wanted, const Maker& maker, Range range, double rate) {
  Curve curve = wanted;
  Curve best = wanted;
  double least = std::numeric_limits<double>::infinity();
  constexpr int kPasses = 4;
  for (int pass = 0; pass < kPasses; ++pass) {
    const FineGain made(maker(curve), rate);
    double sum = 0.0;
    Curve next = curve;
    for (size_t i = 0; i < wanted.hz.size(); ++i) {
      const double error = wanted.db[i] - made.DbAt(wanted.hz[i]);
      if (IsWithin(range, wanted.hz[i])) sum += error * error;
      next.db[i] += RangeWeight(range, wanted.hz[i]) * error;
    }
    if (!(sum < least)) break;
    least = sum;
    best = std::exchange(curve, next);
  }
  return best;
}

// What cutting the filter off adds beyond a limit is taken off the limit; where two limits leave no
// way between them, off the correction: nothing of it is 1 + 0i, which is within any limit.
Made MakeWithinLimits(const Task& task, const Maker& maker, Range range, double rate) {
  const auto excess = [&task](const Made& made) {
    return std::pair(made.gain.highest_db - task.upper_db, task.lower_db - made.gain.lowest_db);
  };
  const auto is_within = [&excess](const Made& made) {
    const auto [above, below] = excess(made);
    return above <= kBoostRoomDb && below <= kCutRoomDb;
  };
  Curve curve;
  for (const Curve& wanted : {Sharpened(task.limited, maker, range, rate), task.limited}) {
    curve = wanted;
    double upper = task.upper_db;
    double lower = task.lower_db;
    constexpr int kPasses = 8;
    for (int pass = 0; pass < kPasses; ++pass) {
      Made made = Make(curve, maker, rate);
      if (is_within(made)) return made;
      const auto [above, below] = excess(made);
      // Lowering a limit by d lowers the peak by less than d.
      constexpr double kMore = 1.2;
      constexpr double kOneMore = 0.0004;
      if (above > kBoostRoomDb) upper -= kMore * above + kOneMore;
      if (below > kCutRoomDb) lower += kMore * below + kOneMore;
      if (upper < lower) break;
      for (size_t i = 0; i < curve.db.size(); ++i) {
        curve.db[i] = std::clamp(wanted.db[i], lower, upper);
      }
    }
  }
  for (const double strength : {0.9, 0.8, 0.7, 0.6, 0.5, 0.4, 0.3, 0.2, 0.1, 0.05, 0.02, 0.01}) {
    for (size_t i = 0; i < curve.db.size(); ++i) curve.db[i] = strength * task.limited.db[i];
    Made made = Make(curve, maker, rate);
    made.strength = strength;
    if (is_within(made)) return made;
  }
  Made nothing;
  nothing.bins.assign(kBinCount, 1.0);
  nothing.gain = ExtremesOf(SignalOf(nothing.bins), rate);
  nothing.strength = 0.0;
  return nothing;
}

Deviation DeviationOf(const Curve& response, const Task& task, Range range, bool is_level_free) {
  Curve difference = response;
  for (size_t i = 0; i < difference.db.size(); ++i) difference.db[i] -= task.target.db[i];
  const double level = is_level_free ? MeanWithin(difference, range) : 0.0;
  Deviation deviation;
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < difference.db.size(); ++i) {
    if (!IsWithin(range, difference.hz[i])) continue;
    const double db = difference.db[i] - level;
    sum += db * db;
    deviation.largest_db = std::max(deviation.largest_db, std::abs(db));
    ++count;
  }
  if (count > 0) deviation.rms_db = std::sqrt(sum / static_cast<double>(count));
  return deviation;
}

Range CorrectedRange(const Measurement& measurement, const DesignOptions& options) {
  return {std::max({options.range.from_hz, measurement.frequency_hz.front(), kGridFromHz}),
          std::min({options.range.to_hz, measurement.frequency_hz.back(), options.rate / 2})};
}

void Judge(const Measurement& measurement, const DesignOptions& options, const Task& task,
           Design& design) {
  const bool is_level_free = options.level != LevelRule::kAbsolute;
  const FineGain correction(design.time.impulse, options.rate);
  Curve after = task.smoothed;
  for (size_t i = 0; i < after.hz.size(); ++i) after.db[i] += correction.DbAt(after.hz[i]);
  design.before = DeviationOf(task.smoothed, task, design.corrected, is_level_free);
  design.after = DeviationOf(after, task, design.corrected, is_level_free);
  if (!options.mask) return;
  const Range data{measurement.frequency_hz.front(),
                   std::min(measurement.frequency_hz.back(), options.rate / 2)};
  const auto before = [&measurement](double hz) {
    return ValueAt(measurement.frequency_hz, measurement.magnitude_db, hz);
  };
  design.mask_before = MarginOf(*options.mask, before, data, options.bands);
  design.mask_after = MarginOf(
      *options.mask, [&](double hz) { return before(hz) + correction.DbAt(hz); }, data,
      options.bands);
  if (!design.mask_after) {
    design.findings.push_back(MakeFinding(
        "mask-not-judged", Severity::kWarning, std::nullopt,
        "the data reach no band with an upper or none with a lower limit of the mask " +
            options.mask->name,
        "nothing can be said of the mask: measure further, or look with finer --bands"));
  }
}

Maker MakerOf(const DesignOptions& options) {
  const auto make =
      options.phase == CorrectionPhase::kLinear ? LinearPhaseFilter : MinimumPhaseFilter;
  return [make, rate = options.rate, taps = options.taps](const Curve& curve) {
    return make(curve, rate, taps);
  };
}

// Undone phase rings before the sound: as much of it is undone as the limit allows.
Made MakeWithExcessPhase(const Measurement& measurement, const DesignOptions& options,
                         const Task& task, Design& design) {
  const Curve excess = ExcessPhase(measurement, design.corrected, task.limited.hz, options.rate);
  Made made;
  for (const double share : {1.0, 0.8, 0.6, 0.4, 0.2, 0.0}) {
    Curve phase = excess;
    for (size_t i = 0; i < phase.db.size(); ++i) {
      phase.db[i] *= -share * RangeWeight(design.corrected, phase.hz[i]);
    }
    const Maker phased = [&](const Curve& curve) {
      return PhasedFilter(curve, phase, options.rate, options.taps);
    };
    made = MakeWithinLimits(task, share > 0.0 ? phased : MakerOf(options), design.corrected,
                            options.rate);
    design.excess_share = share;
    const FilterTime time = MakeFilterTime(made.bins, options.rate);
    if (made.strength == 1.0 && time.pre_ringing_db <= kMostPreRingingDb) break;
  }
  if (design.excess_share < 1.0) {
    design.findings.push_back(
        MakeFinding("excess-phase-limited", Severity::kNote, std::nullopt,
                    "the excess phase is corrected to " +
                        std::to_string(std::lround(100 * design.excess_share)) + " percent",
                    "more of it would ring before the sound above -30 dB, or not fit the taps: "
                    "look whether the "
                    "phase is sound"));
  }
  return made;
}

}  // namespace

Design DesignCorrection(const Measurement& measurement, const DesignOptions& options) {
  Design design;
  design.corrected = CorrectedRange(measurement, options);
  if (!(design.corrected.from_hz < design.corrected.to_hz)) {
    design.findings.push_back(
        MakeFinding("nothing-in-range", Severity::kError, std::nullopt,
                    "the data, " + HzText(measurement.frequency_hz.front()) + " to " +
                        HzText(measurement.frequency_hz.back()) +
                        ", leave nothing of the range of " + HzText(options.range.from_hz) +
                        " to " + HzText(options.range.to_hz) + " below half the sampling rate",
                    "there is nothing to correct: mend --range or --rate"));
    return design;
  }
  if (options.phase == CorrectionPhase::kExcess && !measurement.has_phase()) {
    design.findings.push_back(MakeFinding(
        "no-phase", Severity::kError, std::nullopt, "the measurement has no phase that can be used",
        "its excess phase cannot be corrected: measure with phase, or leave it at "
        "--phase minimum"));
    return design;
  }
  const double resolution = options.rate / static_cast<double>(options.taps);
  if (resolution > design.corrected.from_hz) {
    design.findings.push_back(MakeFinding("few-taps", Severity::kWarning, std::nullopt,
                                          std::to_string(options.taps) +
                                              " taps at this rate tell apart what lies " +
                                              HzText(resolution) + " apart",
                                          "below that the correction can only shape gently: take "
                                          "more taps, or begin the range there"));
  }

  const Task task = MakeTask(measurement, options, design.corrected);
  design.binding = BindingOf(task, design.corrected);
  Made made = options.phase == CorrectionPhase::kExcess
                  ? MakeWithExcessPhase(measurement, options, task, design)
                  : MakeWithinLimits(task, MakerOf(options), design.corrected, options.rate);
  constexpr double kNothingDb = 1e-6;
  const bool is_anything = std::any_of(task.limited.db.begin(), task.limited.db.end(),
                                       [](double db) { return std::abs(db) > kNothingDb; });
  if (made.strength < 1.0 && is_anything) {
    design.findings.push_back(MakeFinding("limits-too-narrow", Severity::kWarning, std::nullopt,
                                          "between the two limits a filter of " +
                                              std::to_string(options.taps) + " taps has room for " +
                                              std::to_string(std::lround(100 * made.strength)) +
                                              " percent of the correction",
                                          "the file corrects no more than that: give --max-boost "
                                          "or --max-cut more room, or take more "
                                          "taps"));
  }
  design.bins = std::move(made.bins);
  design.gain = made.gain;
  design.time = MakeFilterTime(design.bins, options.rate);
  Judge(measurement, options, task, design);
  return design;
}

}  // namespace brelmo::tavi::tools
