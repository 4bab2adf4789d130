// tavi design: from a measurement to a data file that corrects it.
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/response_options.h"
#include "response/correction_file.h"
#include "response/correction_text.h"

namespace brelmo::tavi::tools {

namespace {

struct DesignCommand {
  CorrectionFiles files;
  ReadOptions reading;
  DesignSources sources;
  DesignOptions design;
  std::string phase = PhaseName(CorrectionPhase::kMinimum);
};

void AddLevelOption(CLI::App& command, DesignOptions& design) {
  command
      .add_option_function<std::string>(
          "--level",
          [&design](const std::string& text) {
            if (text == "mean") {
              design.level = LevelRule::kMean;
            } else if (text == "peak") {
              design.level = LevelRule::kPeak;
            } else if (const std::string fault = NumberWithin(kLevelBounds, "dB")(text);
                       fault.empty()) {
              design.level = LevelRule::kAbsolute;
              CLI::detail::lexical_cast(text, design.level_db);
            } else {
              throw CLI::ValidationError("--level", fault + ", mean or peak");
            }
          },
          "mean: the correction's mean is 0 dB (default); peak: it only cuts; a number: the target "
          "stands at this many dB of the measurement's scale")
      ->type_name("DB");
}

void AddLimits(CLI::App& command, DesignOptions& design) {
  command.add_option("--max-boost", design.max_boost_db, "No gain is higher; default: 6")
      ->check(NumberWithin(kBoostBounds, "dB"))
      ->type_name("DB");
  command.add_option("--max-cut", design.max_cut_db, "No gain is lower than -DB; default: 12")
      ->check(NumberWithin(kCutBounds, "dB"))
      ->type_name("DB");
  command
      .add_option("--smoothing", design.smoothing,
                  "The measurement is smoothed over 1/N octave; default: 6")
      ->check(NumberWithin(kSmoothingBounds, "1/octave"))
      ->type_name("N");
  command
      .add_option_function<double>(
          "--regularisation", [&design](const double& db) { design.regularisation_db = db; },
          "Dips are lifted by this much at most, and the less the deeper they are; default: off")
      ->check(NumberWithin(kRegularisationBounds, "dB"))
      ->type_name("DB");
}

}  // namespace

void AddDesignCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "design", "Make a data file that corrects a measured loudspeaker, within limits");
  const auto command = std::make_shared<DesignCommand>();
  subcommand
      ->add_option("MEASUREMENT", command->files.input,
                   "A frequency response as text, or an impulse response as audio or text")
      ->type_name("FILE")
      ->required();
  AddCorrectionOutput(*subcommand, command->files);
  AddRateOption(*subcommand, command->design.rate);
  subcommand
      ->add_option("--target", command->sources.target,
                   "flat (default), or a file with the curve to reach")
      ->type_name("FILE");
  AddRangeOption(*subcommand, command->design.range);
  AddLimits(*subcommand, command->design);
  subcommand
      ->add_option(
          "--phase", command->phase,
          "minimum (default); linear; excess: minimum, and against what the measured phase "
          "has beyond that")
      ->check(CLI::IsMember({"minimum", "linear", "excess"}))
      ->type_name("PHASE");
  subcommand->add_option("--taps", command->design.taps, "The filter's length; default: 257")
      ->check(CLI::Range(kLeastTaps, kFilterLength).description(""))
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
  AddLevelOption(*subcommand, command->design);
  subcommand
      ->add_option(
          "--mask", command->sources.mask,
          "Say how the shape lies in a mask: wb-handheld, wb-handheld-objective, or a file")
      ->type_name("FILE");
  subcommand
      ->add_option("--bands", command->design.bands, "The mask's bands are 1/N octave; default: 3")
      ->check(CLI::Range(1, kMostBands).description(""))
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
  AddReadingOptions(*subcommand, command->reading);
  subcommand->footer(
      "Exit code: 0 the file is written, 1 the measurement was refused, 2 bad usage, or a file "
      "that "
      "can be neither read nor written.");
  subcommand->callback([command, &exit_code] {
    command->reading.from_hz = command->design.range.from_hz;
    command->reading.to_hz = command->design.range.to_hz;
    for (const auto phase : {CorrectionPhase::kLinear, CorrectionPhase::kExcess}) {
      if (command->phase == PhaseName(phase)) command->design.phase = phase;
    }
    exit_code = WriteDesign(command->files, command->reading, command->sources, command->design)
                    ? kExitAsExpected
                    : kExitBroken;
  });
}

}  // namespace brelmo::tavi::tools
