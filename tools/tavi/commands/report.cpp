// tavi report: a page, or data, that shows what a configuration comes to.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <filesystem>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/wording.h"
#include "report/report_data.h"
#include "report/report_page.h"

namespace brelmo::tavi::tools {

namespace {

struct Command {
  ConfigSource config;
  ReportOptions report;
  std::string output;
  std::string format = "html";
};

constexpr const char* kStandardOutput = "-";

void Write(const std::string& path, const std::string& content) {
  const bool is_standard_output = path == kStandardOutput;
  std::FILE* const file = is_standard_output ? stdout : std::fopen(path.c_str(), "wb");
  bool is_written = file != nullptr &&
                    std::fwrite(content.data(), 1, content.size(), file) == content.size() &&
                    std::fflush(file) == 0;
  const int error = errno;
  if (file != nullptr && !is_standard_output && std::fclose(file) != 0) is_written = false;
  if (!is_written) {
    throw InputError((is_standard_output ? "standard output" : path) +
                     ": cannot be written: " + std::strerror(error));
  }
}

int Report(Command& command) {
  if (command.output.empty()) {
    if (command.format == "html") {
      throw InputError("where to? Name the page with -o (- is standard output)");
    }
    command.output = kStandardOutput;
  }
  std::error_code ignored;
  if (std::filesystem::equivalent(command.output, command.config.Name(), ignored)) {
    throw InputError(command.output + ": is the configuration, not to be written over");
  }
  command.report.check.config_name = command.config.Name();
  command.report.check.data_root = command.config.data_root();

  const std::string text = command.config.Text();
  const auto data_folder = command.config.UseDataFolder();
  const nlohmann::ordered_json data = MakeReportData(text, command.report);
  for (const auto& a_case : data["cases"]) {
    for (const auto& output : a_case["outputs"]) {
      const std::string& folder = command.report.check.data_root.empty()
                                      ? simulator::DataFolder::kDevicePath
                                      : command.report.check.data_root;
      const std::string file = folder + "/" + output["file"].get<std::string>();
      if (std::filesystem::equivalent(command.output, file, ignored)) {
        throw InputError(command.output + ": is a data file, not to be written over");
      }
    }
  }
  const std::string json = DumpReportData(data);
  Write(command.output, command.format == "html" ? MakeReportPage(json) : json + "\n");

  const bool is_standard_output = command.output == kStandardOutput;
  const auto count = [&data](const char* severity, const char* noun) {
    return Count(data["counts"][severity].get<size_t>(), noun);
  };
  std::fprintf(is_standard_output ? stderr : stdout, "%s: %s of %s in force; %s, %s, %s\n",
               is_standard_output ? "report" : Printable(command.output).c_str(),
               std::to_string(data["module"]["cases_in_force"].get<size_t>()).c_str(),
               Count(data["cases"].size(), "case").c_str(), count("error", "error").c_str(),
               count("warning", "warning").c_str(), count("note", "note").c_str());
  return kExitAsExpected;
}

}  // namespace

void AddReportCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "report", "Write a page that shows what a configuration and its data files come to");
  const auto command = std::make_shared<Command>();
  command->config.AddTo(*subcommand, /*is_required=*/true);
  subcommand
      ->add_option("-o,--output", command->output,
                   "The file to write; - is standard output (the default for json)")
      ->type_name("FILE");
  subcommand
      ->add_option("--format", command->format,
                   "html (default): a page for a browser; json: its data, for other tools")
      ->check(CLI::IsMember({"html", "json"}))
      ->type_name("FORMAT");
  subcommand
      ->add_option("--rate", command->report.rate,
                   "Sampling rate at which the DSP works, for the frequencies; default: 48000")
      ->check(NumberWithin(1.0, 1e7, "Hz"))
      ->type_name("HZ");
  AddMaxGainOption(*subcommand, command->report.check.max_gain_db);
  subcommand->footer(
      "Exit code: 0 the report is written, whatever it says (`tavi check` is for verdicts), 2 bad "
      "usage or input.");
  subcommand->callback([command, &exit_code] { exit_code = Report(*command); });
}

}  // namespace brelmo::tavi::tools
