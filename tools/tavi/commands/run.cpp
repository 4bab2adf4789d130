// tavi run: plays a scenario against a loaded module.
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <android-base/logging.h>

#include "capture/capture_file.h"
#include "capture/capture_rules.h"
#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/installed_module.h"
#include "commands/module_options.h"
#include "console/input.h"
#include "console/output.h"
#include "process/interrupts.h"
#include "scenario/play.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

namespace {

struct RunOptions {
  ConfigSource config;
  std::optional<std::string> module;
  std::string scenario = "-";
  std::string format = "text";
  std::optional<std::string> capture;
  std::string log_level = "info";
  int patience = kDefaultPatience;
  bool is_forced = false;
};

using LogSeverity = android::base::LogSeverity;

const std::map<std::string, LogSeverity> kLogLevels = {
    {"verbose", android::base::VERBOSE}, {"debug", android::base::DEBUG},
    {"info", android::base::INFO},       {"warning", android::base::WARNING},
    {"error", android::base::ERROR},     {"none", android::base::FATAL},
};

int Run(const RunOptions& options) {
  PlaySetup setup;
  setup.config = options.config.Text();
  options.config.UseDataFolder();  // is there one? It is in force in the module's process alone
  setup.data_root = options.config.data_root();
  setup.scenario = options.scenario;
  setup.is_json = options.format == "json";
  setup.patience = std::chrono::seconds(options.patience);
  setup.module = options.module ? *options.module : FindInstalledModule();

  options.config.RequireFiniteDataFiles(setup.config);
  std::optional<OutputFile> capture;
  if (options.capture) {
    std::vector<InputFile> inputs = options.config.Inputs(setup.config);
    inputs.push_back({setup.scenario, "the scenario"});
    inputs.push_back({setup.module, "the module"});
    capture.emplace(*options.capture, CaptureRules(std::move(inputs), options.is_forced));
    setup.capture = capture->stream();
    setup.capture_format = CaptureFormatOf(*options.capture);
    capture->Write(CaptureHead(setup.capture_format));
    std::fflush(setup.capture);  // a fault is found at the end
  }
  android::base::SetMinimumLogSeverity(kLogLevels.at(options.log_level));
  return RunInterruptible([&] {
    const PlayResult result = PlayScenario(setup);
    if (!result.is_capture_complete) {
      throw InputError(*options.capture + ": could not be written in full; is there space left?");
    }
    // Also of a module that has crashed: what it wrote before is there.
    if (capture) capture->Commit();
    return result.is_as_expected ? kExitAsExpected : kExitBroken;
  });
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
  command
      ->add_option("--capture", options->capture,
                   "Store the bytes of every write to the DSP; with its time and result in a "
                   "file named *.pcapng")
      ->type_name("FILE");
  command
      ->add_option("--log-level", options->log_level,
                   "Least severity that the module logs: verbose, debug, info (default), warning, "
                   "error, none")
      ->check(CLI::IsMember(kLogLevels))
      ->type_name("LEVEL");
  AddForceOption(*command, options->is_forced);
  AddPatienceOption(*command, options->patience);
  command->footer(std::string("A scenario's steps:\n") + ScenarioHelp() +
                  "Exit code: 0 all as expected, 1 an expectation or the host's contract was "
                  "broken, 2 bad usage or input.");
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}

}  // namespace brelmo::tavi::tools
