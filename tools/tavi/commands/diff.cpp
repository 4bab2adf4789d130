// tavi diff: what a change of a tuning changes for who listens.
#include "diff/diff.h"

#include <memory>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/response_options.h"

namespace brelmo::tavi::tools {

namespace {

struct DiffCommand {
  DiffOptions diff;
  std::string format = "text";
};

}  // namespace

void AddDiffCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "diff", "Say how two configurations, responses, or a capture and a configuration differ");
  const auto command = std::make_shared<DiffCommand>();
  DiffOptions& diff = command->diff;
  subcommand
      ->add_option("OLD", diff.old_side.path,
                   "A configuration, a folder of tavi build, a data file, a response or a capture")
      ->type_name("FILE")
      ->required();
  subcommand->add_option("NEW", diff.new_side.path, "What to compare it with")
      ->type_name("FILE")
      ->required();
  AddOldRootOption(*subcommand, diff.old_side.data_root);
  subcommand
      ->add_option("--new-root", diff.new_side.data_root,
                   "Folder of the new configuration's data files")
      ->check(NamedFolder())
      ->type_name("DIR");
  subcommand
      ->add_option("--tolerance", diff.limits.tolerance_db,
                   "A bin that deviates by no more counts as equal; default: 0")
      ->check(NumberWithin(0.0, 200.0, "dB"))
      ->type_name("DB");
  AddRateOption(*subcommand, diff.limits.rate);
  AddFormatOption(*subcommand, command->format, "one object");
  subcommand->footer(
      "Exit code: 0 the DSP would be sent the same in every posture, 1 it would not, 2 that cannot "
      "be said: bad usage, or a file that cannot be read.");
  subcommand->callback([command, &exit_code] {
    command->diff.is_json = command->format == "json";
    exit_code = Diff(command->diff) ? kExitAsExpected : kExitBroken;
  });
}

}  // namespace brelmo::tavi::tools
