// tavi check: says what the module will make of a configuration, before anything is flashed.
#include <cstdio>

#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "check/check_config.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/finding_json.h"
#include "console/finding_text.h"
#include "console/terminal.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

struct Command {
  ConfigSource config;
  std::string format = "text";
  bool is_strict = false;
  double max_gain_db = CheckOptions().max_gain_db;
};

void PutSummary(const std::string& config_name, const CheckResult& result, bool is_colour) {
  std::string cases = Count(result.case_count, "case");
  if (result.cases_in_force != result.case_count) {
    cases += " (" + std::to_string(result.cases_in_force) + " in force)";
  }
  Print(false, "",
        Printable(config_name) + ": looked at " + cases + ", " +
            Count(result.postures.size(), "posture") + " and " +
            Count(result.file_count, "data file") + "\n");
  PrintFindingCounts(result.findings, is_colour);
}

void PutJson(const CheckResult& result) {
  Json findings = Json::array();
  for (const Finding& finding : result.findings) findings.push_back(FindingToJson(finding));
  // A file name may hold any bytes.
  std::printf("%s\n", findings.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

int Check(const Command& command) {
  const std::string text = command.config.Text();
  const auto data_folder = command.config.UseDataFolder();
  CheckOptions options;
  options.config_name = command.config.Name();
  options.data_root = command.config.data_root();
  options.max_gain_db = command.max_gain_db;
  const CheckResult result = CheckConfig(text, options);
  if (command.format == "json") {
    PutJson(result);
  } else {
    const bool is_colour = IsColourWanted();
    for (const Finding& finding : result.findings) PrintFinding(finding, text, is_colour);
    PutSummary(options.config_name, result, is_colour);
  }
  const bool is_broken = CountOf(result.findings, Severity::kError) > 0 ||
                         (command.is_strict && CountOf(result.findings, Severity::kWarning) > 0);
  return is_broken ? kExitBroken : kExitAsExpected;
}

}  // namespace

void AddCheckCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "check", "Say what the module will make of a configuration and its data files");
  const auto command = std::make_shared<Command>();
  command->config.AddTo(*subcommand, /*is_required=*/true);
  subcommand->add_flag("--strict", command->is_strict, "Warnings count as errors do");
  subcommand->add_option("--format", command->format, "text, or json: one array of findings")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  AddMaxGainOption(*subcommand, command->max_gain_db);
  subcommand->footer(
      "Exit code: 0 no error was found, 1 errors (with --strict, also warnings), 2 bad usage or "
      "input.");
  subcommand->callback([command, &exit_code] { exit_code = Check(*command); });
}

}  // namespace brelmo::tavi::tools
