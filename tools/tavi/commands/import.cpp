// tavi import: from a correction that was made elsewhere to a data file.
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/response_options.h"
#include "response/correction_file.h"

namespace brelmo::tavi::tools {

namespace {

struct ImportCommand {
  CorrectionFiles files;
  ReadOptions reading = FilterReading();
  ImportOptions import;
  std::string phase = "file";
};

}  // namespace

void AddImportCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "import", "Make a data file of a correction that was made elsewhere; it is not inverted");
  const auto command = std::make_shared<ImportCommand>();
  subcommand
      ->add_option("CORRECTION", command->files.input,
                   "A frequency response as text, or a filter's impulse response")
      ->type_name("FILE")
      ->required();
  AddCorrectionOutput(*subcommand, command->files);
  AddRateOption(*subcommand, command->import.rate);
  subcommand
      ->add_option(
          "--phase", command->phase,
          "file (default): the correction's own where it can be used; minimum: that of its "
          "magnitude")
      ->check(CLI::IsMember({"file", "minimum"}))
      ->type_name("PHASE");
  subcommand
      ->add_option(
          "--taps", command->import.taps,
          "512 (default): every bin is the response at its frequency; fewer cut the filter "
          "and fade it out")
      ->check(CLI::Range(kLeastTaps, kFilterLength).description(""))
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
  subcommand->add_option("--gain", command->import.gain_db, "Louder by this much; default: 0")
      ->check(NumberWithin(kGainBounds, "dB"))
      ->type_name("DB");
  subcommand->add_flag("--remove-delay", command->import.is_delay_removed,
                       "Let the filter begin at its first sample");
  AddReadingOptions(*subcommand, command->reading);
  subcommand->footer(
      "Exit code: 0 the file is written, 1 the correction was refused, 2 bad usage, or a file that "
      "can be neither read nor written.");
  subcommand->callback([command, &exit_code] {
    command->import.is_minimum_phase = command->phase == "minimum";
    exit_code = WriteImport(command->files, command->reading, command->import) ? kExitAsExpected
                                                                               : kExitBroken;
  });
}

}  // namespace brelmo::tavi::tools
