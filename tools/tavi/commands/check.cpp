// tavi check: says what the module will make of a configuration, before anything is flashed.
#include <memory>
#include <string>

#include "check/check_config.h"
#include "check/check_output.h"
#include "commands/commands.h"
#include "commands/config_options.h"

namespace brelmo::tavi::tools {

namespace {

struct CheckCommand {
  ConfigSource config;
  CheckOptions check;
  std::string format = "text";
  bool is_strict = false;
};

int Check(CheckCommand& command) {
  command.check.config_name = command.config.Name();
  command.check.data_root = command.config.data_root();
  const std::string text = command.config.Text();
  const auto data_folder = command.config.UseDataFolder();
  const CheckResult result = CheckConfig(text, command.check);
  PutCheckResult(result, text, command.check.config_name, command.format == "json");
  return IsBroken(result.findings, command.is_strict) ? kExitBroken : kExitAsExpected;
}

}  // namespace

void AddCheckCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "check", "Say what the module will make of a configuration and its data files");
  const auto command = std::make_shared<CheckCommand>();
  command->config.AddTo(*subcommand, /*is_required=*/true);
  subcommand->add_flag("--strict", command->is_strict, "Warnings count as errors do");
  AddFormatOption(*subcommand, command->format, "one array of findings");
  AddLimitOptions(*subcommand, command->check);
  subcommand->footer(
      "Exit code: 0 no error was found, 1 errors (with --strict, also warnings), 2 bad usage or "
      "input.");
  subcommand->callback([command, &exit_code] { exit_code = Check(*command); });
}

}  // namespace brelmo::tavi::tools
