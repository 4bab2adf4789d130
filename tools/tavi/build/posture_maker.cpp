#include "build/posture_maker.h"

#include <algorithm>
#include <utility>

#include "build/options_text.h"
#include "build/pair.h"
#include "console/input.h"
#include "console/wording.h"
#include "response/data_file.h"
#include "response/shaping.h"
#include "response/smoothing.h"

namespace brelmo::tavi::tools {

namespace {

class Maker {
 public:
  Maker(const PostureSource& posture, const Project& project, const TomlSource& source,
        SourceFiles& files)
      : posture_(posture), project_(project), source_(source), files_(files) {}

  MadePosture Run() {
    for (size_t i = 0; i < kChannelKeys.size(); ++i) {
      channel_ = i;
      place_ = posture_.channels[i].place;
      made_.channels[i].options = OptionsText(posture_, i);
      try {
        std::visit([this](const auto& from) { Make(from); }, posture_.channels[i].from);
      } catch (const InputError& error) {
        Find("no-input", Severity::kError, error.what(),
             "nothing is built; paths are relative to the folder of the source");
      }
    }
    if (designed_[0] && designed_[1]) MatchChannels();
    for (size_t i = 0; i < kChannelKeys.size(); ++i) {
      channel_ = i;
      if (designed_[i]) PutDesign(*designed_[i]);
    }
    return std::move(made_);
  }

 private:
  MadeChannel& made() { return made_.channels[channel_]; }

  void Find(const std::string& name, Severity severity, const std::string& message,
            const std::string& consequence) {
    made_.findings.push_back(source_.At(place_, name, severity, message, consequence));
  }

  // What is found in a file, or in all of it, stands at the place of its name.
  void Relay(const std::vector<Finding>& findings, const std::string& file) {
    for (const Finding& finding : findings) {
      std::string message = Printable(file) + ": ";
      if (finding.column > 0) message = Printable(file) + ":" + std::to_string(finding.line) + ": ";
      Find(finding.name, finding.severity, message + InKeys(finding.message),
           InKeys(finding.consequence));
    }
  }

  ReadResult Read(const std::string& file, const ReadOptions& options) {
    ReadResult read = ReadMeasurementBytes(files_.PathOf(file), files_.Read(file), options);
    Relay(read.findings, file);
    return read;
  }

  void Make(const FromMeasurement& from) {
    Designed designed;
    designed.options = from.design;
    if (!from.mask.empty()) {
      place_ = from.mask_place;
      designed.options.mask = FindShippedMask(from.mask, files_.PathOf(from.mask));
      if (!designed.options.mask) {
        designed.options.mask = ParseMask(files_.Read(from.mask), from.mask);
      }
    }
    if (from.target != kFlatTarget) {
      place_ = from.target_place;
      const ReadResult target = Read(from.target, TargetReading(from.reading));
      if (!target.measurement) return;
      designed.options.target =
          Curve{target.measurement->frequency_hz, target.measurement->magnitude_db};
    }
    place_ = posture_.channels[channel_].place;
    ReadResult read = Read(from.file, from.reading);
    if (!read.measurement) return;
    designed.measurement = std::move(*read.measurement);
    designed.summary = read.summary;
    designed.target_name = from.target;
    designed.design = DesignCorrection(designed.measurement, designed.options);
    Relay(designed.design.findings, from.file);
    if (!designed.design.bins.empty()) designed_[channel_] = std::move(designed);
  }

  void Make(const FromCorrection& from) {
    ReadOptions reading = from.reading;
    const std::string& bytes = files_.Read(from.file);
    ReadResult read = ReadMeasurementBytes(files_.PathOf(from.file), bytes, reading);
    if (from.import.is_delay_removed && read.measurement && read.measurement->impulse.empty()) {
      reading.delay = DelayPolicy::kRemove;
      read = ReadMeasurementBytes(files_.PathOf(from.file), bytes, reading);
    }
    Relay(read.findings, from.file);
    if (!read.measurement) return;
    const Import import = ImportCorrection(*read.measurement, from.import);
    Relay(import.findings, from.file);
    made().content = DataFileText(import.bins, Digits::kEightDecimals);
  }

  void Make(const FromFilters& from) {
    made().content = DataFileText(ChainBins(from.chain, project_.rate), Digits::kEightDecimals);
  }

  void Make(const FromDataFile& from) {
    made().content = files_.Read(from.file);
    if (made().content.empty()) {
      Find("no-input", Severity::kError, Printable(from.file) + " is empty",
           "nothing is built; filters = [] is a channel whose sound is not changed");
    }
  }

  void MatchChannels() {
    if (posture_.is_pair_levelled) {
      const std::string fault = LevelPair(*designed_[0], *designed_[1]);
      if (!fault.empty()) {
        Find("pair-not-levelled", Severity::kWarning, "the pair is not levelled together: " + fault,
             "each channel plays at its own level; pair = \"apart\" says that it is meant");
      }
    }
    if (posture_.is_delay_matched) {
      const DelayMatch match = MatchDelay(*designed_[0], *designed_[1]);
      if (!match.fault.empty()) {
        Find("delay-not-matched", match.severity, match.fault, match.consequence);
      }
    }
  }

  void PutDesign(const Designed& designed) {
    const Design& design = designed.design;
    made().content = DataFileText(design.bins, Digits::kEightDecimals);
    std::string& told = made().told;
    told = Format("%.0f to %.0f Hz, %.2f dB rms off the target, now %.2f", design.corrected.from_hz,
                  design.corrected.to_hz, design.before.rms_db, design.after.rms_db);
    if (design.mask_before && design.mask_after) {
      told += "; " + Printable(designed.options.mask->name) +
              Format(" by %+.1f dB, now %+.1f", design.mask_before->margin_db,
                     design.mask_after->margin_db);
    }
    if (designed.lowered_db > 0.005) {
      told += Format("; %.1f dB down to the other's level", designed.lowered_db);
    }
    if (designed.delay_samples > 0) {
      told += "; " + Count(designed.delay_samples, "sample") + " later, with the other";
    }
    made().curves = CurvesOf(designed);
  }

  static ChannelCurves CurvesOf(const Designed& designed) {
    constexpr double kPointsPerOctave = 24.0;
    constexpr double kFromHz = 50.0;
    const DesignOptions& options = designed.options;
    const Measurement& measurement = designed.measurement;
    const Range shown{std::max(kFromHz, measurement.frequency_hz.front()),
                      std::min(measurement.frequency_hz.back(), options.rate / 2)};
    ChannelCurves curves;
    curves.hz = LogGrid(shown, kPointsPerOctave);
    const double level = OwnLevel(designed);
    const FineGain correction(SignalOf(designed.design.bins), options.rate);
    const Curve measured =
        Smoothed(OnGrid({measurement.frequency_hz, measurement.magnitude_db}, curves.hz),
                 1.0 / options.smoothing);
    for (size_t i = 0; i < curves.hz.size(); ++i) {
      const double hz = curves.hz[i];
      const double gain = correction.DbAt(hz);
      curves.measured_db.push_back(measured.db[i] - level);
      curves.target_db.push_back(TargetDb(designed, hz) - level - designed.lowered_db);
      curves.correction_db.push_back(gain);
      curves.corrected_db.push_back(measured.db[i] + gain - level);
    }
    curves.corrected = designed.design.corrected;
    if (designed.design.mask_before && designed.design.mask_after) {
      const double shift = designed.design.mask_after->shift_db + level + designed.lowered_db;
      curves.mask = options.mask->name;
      curves.mask_upper = options.mask->upper;
      curves.mask_lower = options.mask->lower;
      for (double& db : curves.mask_upper.db) db -= shift;
      for (double& db : curves.mask_lower.db) db -= shift;
      curves.margin_before_db = designed.design.mask_before->margin_db;
      curves.margin_after_db = designed.design.mask_after->margin_db;
    }
    return curves;
  }

  const PostureSource& posture_;
  const Project& project_;
  const TomlSource& source_;
  SourceFiles& files_;
  MadePosture made_;
  std::array<std::optional<Designed>, kChannelKeys.size()> designed_;
  size_t channel_ = 0;
  SourcePlace place_;  // of what is being read
};

}  // namespace

MadePosture MakePosture(const PostureSource& posture, const Project& project,
                        const TomlSource& source, SourceFiles& files) {
  return Maker(posture, project, source, files).Run();
}

}  // namespace brelmo::tavi::tools
