// tavi report: a page, or data, that shows what a configuration comes to.
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/sha256.h"
#include "report/write_report.h"

namespace brelmo::tavi::tools {

namespace {

struct ReportCommand {
  ConfigSource config;
  SideOptions old_side;
  ReportOptions report;
  ReportOutput output;
};

int Report(ReportCommand& command) {
  command.report.check.config_name = command.config.Name();
  command.report.check.data_root = command.config.data_root();
  const std::string content = command.config.Content();
  command.report.config_sha256 = Sha256(content);
  const std::string text = command.config.TextOf(content);
  command.output.inputs = command.config.Inputs(text);
  if (!command.report.listen.empty()) {
    command.output.inputs.push_back({command.report.listen, "the audio"});
  }
  if (!command.old_side.path.empty()) {
    command.report.against = ReadAgainst(command.old_side, text, command.config.data_root(),
                                         command.report.check.filter.rate);
    const auto inputs = command.report.against->inputs();
    command.output.inputs.insert(command.output.inputs.end(), inputs.begin(), inputs.end());
  }
  const auto data_folder = command.config.UseDataFolder();
  WriteReport(text, command.report, command.output);
  return kExitAsExpected;
}

}  // namespace

void AddReportCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "report", "Write a page that shows what a configuration and its data files come to");
  const auto command = std::make_shared<ReportCommand>();
  command->config.AddTo(*subcommand, /*is_required=*/true);
  subcommand
      ->add_option("-o,--output", command->output.path,
                   "The file to write; - is standard output (the default for json)")
      ->type_name("FILE");
  AddForceOption(*subcommand, command->output.is_forced);
  subcommand
      ->add_option("--format", command->output.format,
                   "html (default): a page for a browser; json: its data, for other tools")
      ->check(CLI::IsMember({"html", "json"}))
      ->type_name("FORMAT");
  AddLimitOptions(*subcommand, command->report.check);
  subcommand
      ->add_option("--listen", command->report.listen,
                   "Audio of which the page plays the first seconds in each case, and bypassed")
      ->type_name("FILE");
  AddAgainstOptions(*subcommand, command->old_side.path, command->old_side.data_root,
                    "the page lays its curves under the others, and marks where another case was "
                    "taken");
  subcommand->footer(
      "Exit code: 0 the report is written, whatever it says (`tavi check` is for verdicts), 2 bad "
      "usage or input.");
  subcommand->callback([command, &exit_code] { exit_code = Report(*command); });
}

}  // namespace brelmo::tavi::tools
