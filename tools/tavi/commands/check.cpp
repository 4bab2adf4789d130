// tavi check: says what the module will make of a configuration, before anything is flashed.
#include <cstdio>

#include <algorithm>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "check/check_config.h"
#include "check/finding_json.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/excerpt.h"
#include "console/terminal.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kIndent = "    ";
// What an excerpt takes at most beside its text: the indent and an ellipsis at each end.
constexpr size_t kExcerptMargin = 6;
constexpr size_t kExcerptWidth = 90;  // of what is not for a terminal

struct Command {
  ConfigSource config;
  std::string format = "text";
  bool is_strict = false;
  double max_gain_db = CheckOptions().max_gain_db;
};

const char* ColourOf(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return colour::kCyan;
    case Severity::kWarning:
      return colour::kYellow;
    case Severity::kError:
      break;
  }
  return colour::kRed;
}

class TextOutput {
 public:
  TextOutput(const std::string& config_text, bool is_colour)
      : config_text_(config_text), is_colour_(is_colour) {}

  void Put(const Finding& finding) const {
    std::string place = Printable(finding.file);
    if (finding.column > 0) {
      place += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
    }
    Write(colour::kBold, place + ": ");
    Write(ColourOf(finding.severity), std::string(SeverityName(finding.severity)) + ": ");
    Write(colour::kBold, finding.message);
    Write("", " [" + finding.name + "]\n");
    Write("", kIndent + finding.consequence + "\n");
    if (finding.column > 0) PutExcerpt(finding);
    Write("", "\n");
  }

  void PutSummary(const std::string& config_name, const CheckResult& result) const {
    std::string cases = Count(result.case_count, "case");
    if (result.cases_in_force != result.case_count) {
      cases += " (" + std::to_string(result.cases_in_force) + " in force)";
    }
    Write("", Printable(config_name) + ": looked at " + cases + ", " +
                  Count(result.postures.size(), "posture") + " and " +
                  Count(result.file_count, "data file") + "\n");
    const size_t errors = CountOf(result.findings, Severity::kError);
    const size_t warnings = CountOf(result.findings, Severity::kWarning);
    const char* colour = errors > 0     ? colour::kRed
                         : warnings > 0 ? colour::kYellow
                                        : colour::kGreen;
    Write(colour, Count(errors, "error") + ", " + Count(warnings, "warning") + ", " +
                      Count(CountOf(result.findings, Severity::kNote), "note"));
    Write("", "\n");
  }

 private:
  void PutExcerpt(const Finding& finding) const {
    const std::string& line = finding.offset ? config_text_ : finding.data_line;
    if (line.empty()) return;
    const size_t offset = finding.offset.value_or(finding.column - 1);
    constexpr size_t kLeast = 20;
    const size_t columns = TerminalColumns();
    const size_t width =
        columns == 0 ? kExcerptWidth : std::max(columns, kExcerptMargin + kLeast) - kExcerptMargin;
    const Excerpt excerpt =
        MakeExcerpt(line, offset, finding.length, std::min(width, kExcerptWidth));
    Write("", kIndent + excerpt.text + "\n" + kIndent);
    Write(colour::kGreen, excerpt.marker);
    Write("", "\n");
  }

  void Write(const char* colour, const std::string& text) const { Print(is_colour_, colour, text); }

  const std::string& config_text_;
  const bool is_colour_;
};

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
    const TextOutput output(text, is_colour);
    for (const Finding& finding : result.findings) output.Put(finding);
    output.PutSummary(options.config_name, result);
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
