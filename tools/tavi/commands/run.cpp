// tavi run: plays a scenario against a loaded module.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include <android-base/logging.h>

#include "capture/capture_listing.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/installed_module.h"
#include "console/terminal.h"
#include "loaded_module.h"
#include "process/supervisor.h"
#include "scenario/run_reporter.h"
#include "scenario/scenario.h"
#include "scenario/scenario_runner.h"

namespace brelmo::tavi::tools {

namespace {

struct RunOptions {
  ConfigSource config;
  std::optional<std::string> module;
  std::string scenario = "-";
  std::string format = "text";
  std::optional<std::string> capture;
  bool is_forced = false;
  std::string log_level = "info";
};

using LogSeverity = android::base::LogSeverity;

const std::map<std::string, LogSeverity> kLogLevels = {
    {"verbose", android::base::VERBOSE}, {"debug", android::base::DEBUG},
    {"info", android::base::INFO},       {"warning", android::base::WARNING},
    {"error", android::base::ERROR},     {"none", android::base::FATAL},
};

InputError AtLine(const std::string& name, const ScenarioError& error) {
  return InputError(name + ":" + std::to_string(error.line()) + ": " + error.what());
}

// Everything is read before anything is played: a bad last line costs nothing.
std::vector<Step> ReadScenario(const std::string& path) {
  std::istringstream input(ReadFile(path));
  try {
    return ParseScenario(input);
  } catch (const ScenarioError& error) {
    throw AtLine(path, error);
  }
}

// Plays lines as they come. False when the module did not return.
bool PlayStandardInput(ScenarioRunner& runner, bool is_json) {
  // Standard output is for JSON alone, if for JSON at all.
  std::ostream& out = is_json ? std::cerr : std::cout;
  const bool is_prompting =
      isatty(STDIN_FILENO) != 0 && isatty(is_json ? STDERR_FILENO : STDOUT_FILENO) != 0;
  if (is_prompting) out << "Type steps, one a line; help lists them, quit ends.\n";
  int number = 0;
  for (std::string line;;) {
    if (is_prompting) out << "tavi> " << std::flush;
    if (!std::getline(std::cin, line)) {
      if (std::ferror(stdin) != 0) {
        throw InputError(std::string("standard input: cannot be read: ") + std::strerror(errno));
      }
      if (is_prompting) out << std::endl;
      return true;
    }
    ++number;
    const std::string word = StripLine(line);
    if (word == "quit" || word == "exit") return true;
    if (word == "help") {
      out << ScenarioHelp() << std::flush;
      continue;
    }
    try {
      const auto step = ParseStep(line, number);
      if (step && !runner.Play(*step)) return false;
    } catch (const ScenarioError& error) {
      if (!is_prompting) throw AtLine("standard input", error);
      out << error.what() << "\n";
    }
  }
}

bool PlaySteps(ScenarioRunner& runner, const std::vector<Step>& steps, const std::string& name) {
  for (const Step& step : steps) {
    try {
      if (!runner.Play(step)) return false;
    } catch (const ScenarioError& error) {
      throw AtLine(name, error);
    }
  }
  return true;
}

int Play(const RunOptions& options, const std::string& config, const std::vector<Step>& steps,
         const simulator::LoadedModule& module, std::FILE* capture, RunReporter& reporter,
         Activity& activity) {
  const bool reads_standard_input = options.scenario == "-";
  const std::string name = reads_standard_input ? "standard input" : options.scenario;
  activity.Set("reading the configuration");
  ScenarioRunner runner(module, {config, name, capture}, reporter, activity);
  const bool is_alive = (reads_standard_input ? PlayStandardInput(runner, options.format == "json")
                                              : PlaySteps(runner, steps, name)) &&
                        runner.Finish();
  runner.ReportTotals();
  if (!is_alive) {
    // A module that did not return holds threads that cannot be joined.
    activity.Finish();
    std::_Exit(kExitBroken);
  }
  if (!runner.is_capture_complete()) {
    throw InputError(*options.capture + ": could not be written in full");
  }
  // This is the process that wrote, and the one that began it cannot tell.
  if (std::ferror(stdout) != 0) throw InputError("standard output: could not be written in full");
  return runner.is_as_expected() ? kExitAsExpected : kExitBroken;
}

int Run(const RunOptions& options) {
  const std::string config = options.config.Text();
  options.config.RequireFiniteDataFiles(config);
  std::vector<Step> steps;
  if (options.scenario != "-") steps = ReadScenario(options.scenario);
  // Last: files that the user names are not the module's.
  const auto data_folder = options.config.UseDataFolder();
  const std::string module_path = options.module ? *options.module : FindInstalledModule();

  std::optional<OutputFile> capture;
  if (options.capture) {
    std::vector<InputFile> inputs = options.config.Inputs(config);
    inputs.push_back({options.scenario, "the scenario"});
    inputs.push_back({module_path, "the module"});
    capture.emplace(*options.capture, CaptureRules(std::move(inputs), options.is_forced));
  }

  android::base::SetMinimumLogSeverity(kLogLevels.at(options.log_level));
  const std::unique_ptr<RunReporter> reporter =
      options.format == "json" ? MakeJsonReporter() : MakeTextReporter(IsColourWanted());
  const int exit_code = RunSupervised(
      [&](Activity& activity) {
        try {
          activity.Set("loading " + module_path);
          const simulator::LoadedModule module(module_path);
          return Play(options, config, steps, module, capture ? capture->stream() : nullptr,
                      *reporter, activity);
        } catch (const std::runtime_error& error) {
          std::cout << std::flush;
          std::cerr << "tavi: " << error.what() << std::endl;
          return kExitUsage;
        }
      },
      [&](const std::string& death, const std::string& activity) {
        reporter->OnViolation("the module " + death + " during: " + activity);
      });
  // Also of a module that has crashed: what it wrote before is there.
  if (capture && exit_code != kExitUsage) capture->Commit();
  return exit_code;
}

}  // namespace

void AddRunCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "run", "Play a scenario: host events against the real module, and what it sends to the DSP");
  const auto options = std::make_shared<RunOptions>();
  options->config.AddTo(*command, /*is_required=*/true);
  command
      ->add_option("--module", options->module,
                   "The module's library; default: the one built with tavi")
      ->type_name("SO");
  command
      ->add_option("--scenario", options->scenario,
                   "File with a step a line; - (the default) takes them from standard input, with "
                   "a prompt at a terminal")
      ->type_name("FILE");
  command->add_option("--format", options->format, "text, or json: one object a line")
      ->check(CLI::IsMember({"text", "json"}))
      ->type_name("FORMAT");
  command->add_option("--capture", options->capture, "Store the bytes of every write to the DSP")
      ->type_name("FILE");
  AddForceOption(*command, options->is_forced);
  command
      ->add_option("--log-level", options->log_level,
                   "Least severity that the module logs: verbose, debug, info (default), warning, "
                   "error, none")
      ->check(CLI::IsMember(kLogLevels))
      ->type_name("LEVEL");
  command->footer(std::string("A scenario's steps:\n") + ScenarioHelp() +
                  "Exit code: 0 all as expected, 1 an expectation or the host's contract was "
                  "broken, 2 bad usage or input.");
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}

}  // namespace brelmo::tavi::tools
