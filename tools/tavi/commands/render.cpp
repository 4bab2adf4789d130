// tavi render: a recording as the device would play it along a scenario.
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <android-base/logging.h>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/installed_module.h"
#include "commands/module_options.h"
#include "commands/response_options.h"
#include "console/input.h"
#include "process/interrupts.h"
#include "render/write_render.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

namespace {

struct RenderCommand {
  ConfigSource config;
  std::optional<std::string> module;
  std::optional<double> ab_seconds;
  std::string scheme = SchemeName(Scheme::kOverlapSave);
  std::string switching = "block";
  std::string normalise = "off";
  std::string bits = "16";
  int patience = kDefaultPatience;
  RenderRequest request;
};

int Render(RenderCommand& command) {
  RenderRequest& request = command.request;
  if (request.output == "-") {
    throw InputError("-: standard output has what is said of the file; name a file with -o");
  }
  if (request.play.scenario == "-") {
    throw InputError("-: a scenario may be played more than once; name a file with --scenario");
  }
  request.play.patience = std::chrono::seconds(command.patience);
  request.play.module = command.module ? *command.module : FindInstalledModule();
  request.inputs.push_back({request.play.module, "the module"});
  request.play.config = command.config.Text();
  command.config.UseDataFolder();  // is there one? It is in force in the module's process alone
  request.play.data_root = command.config.data_root();
  command.config.RequireFiniteDataFiles(request.play.config);
  for (InputFile& input : command.config.Inputs(request.play.config)) {
    request.inputs.push_back(std::move(input));
  }
  for (const Scheme scheme : kSchemes) {
    if (command.scheme == SchemeName(scheme)) request.render.dsp.scheme = scheme;
  }
  request.render.dsp.fades = command.switching == "fade";
  request.render.normalises = command.normalise == "peak";
  request.render.format = command.bits == "16"   ? SampleFormat::k16
                          : command.bits == "24" ? SampleFormat::k24
                                                 : SampleFormat::kFloat;
  if (command.ab_seconds) {
    request.is_against_bypass = true;
    request.render.turn_seconds = *command.ab_seconds;
  }
  android::base::SetMinimumLogSeverity(android::base::FATAL);
  return RunInterruptible(
      [&request] { return WriteRender(request) ? kExitAsExpected : kExitBroken; });
}

void AddSoundOptions(CLI::App& subcommand, RenderCommand& command) {
  RenderRequest& request = command.request;
  subcommand
      .add_option("--dsp", command.scheme,
                  "The DSP's block scheme, which is not known: overlap-save (default), windowed, "
                  "ideal")
      ->check(CLI::IsMember({"overlap-save", "windowed", "ideal"}))
      ->type_name("SCHEME");
  subcommand
      .add_option(
          "--switch", command.switching,
          "A new response is in force with the next block (block, the default), or is faded "
          "in over it (fade)")
      ->check(CLI::IsMember({"block", "fade"}))
      ->type_name("HOW");
  AddRateOption(subcommand, request.render.dsp.rate);
  subcommand
      .add_option("--through", request.loudspeakers,
                  "What is heard behind the measured loudspeakers: a measurement for both, or left "
                  "and right")
      ->expected(1, 2)
      ->type_name("FILE");
  auto* const ab = subcommand.add_option_function<double>(
      "--ab", [&command](const double& seconds) { command.ab_seconds = seconds; },
      "Bypass and correction by turns of so many seconds, equally loud");
  ab->check(NumberWithin(1.0, 3600.0, "seconds"))->type_name("SECONDS");
  auto* const against =
      AddAgainstOptions(subcommand, request.old_path, request.old_data_root,
                        "it and this one are played by turns, it first, equally loud");
  against->excludes(ab);
  subcommand
      .add_option("--turns", request.render.turn_seconds,
                  "Seconds that a turn of --against lasts; default: 4")
      ->needs(against)
      ->check(NumberWithin(1.0, 3600.0, "seconds"))
      ->type_name("SECONDS");
  subcommand
      .add_option("--normalise", command.normalise,
                  "off (default), or peak: to 1 dB below full scale")
      ->check(CLI::IsMember({"off", "peak"}))
      ->type_name("HOW");
  subcommand.add_option("--bits", command.bits, "Of the output's samples: 16 (default), 24, float")
      ->check(CLI::IsMember({"16", "24", "float"}))
      ->type_name("BITS");
}

}  // namespace

void AddRenderCommand(CLI::App& program, int& exit_code) {
  auto* const subcommand = program.add_subcommand(
      "render",
      "Play a recording through the virtual DSP, which the real module sets along a "
      "scenario");
  const auto command = std::make_shared<RenderCommand>();
  RenderRequest& request = command->request;
  command->config.AddTo(*subcommand, /*is_required=*/true);
  subcommand
      ->add_option("--module", command->module,
                   "The module's library; default: the one built with tavi")
      ->type_name("SO");
  subcommand
      ->add_option("--scenario", request.play.scenario,
                   "File with a step a line; only what waits takes time")
      ->type_name("FILE")
      ->required();
  subcommand->add_option("--input", request.audio, "What is played: audio of any rate")
      ->type_name("FILE")
      ->required();
  subcommand->add_option("-o,--output", request.output, "The WAV file to write")
      ->type_name("FILE")
      ->required();
  AddForceOption(*subcommand, request.is_forced);
  AddSoundOptions(*subcommand, *command);
  AddPatienceOption(*subcommand, command->patience);
  subcommand->footer(std::string("A scenario's steps:\n") + ScenarioHelp() +
                     "Exit code: 0 all as expected, 1 samples were clipped, an expectation or the "
                     "host's contract was broken, or a response cannot be played, 2 bad usage or "
                     "input.");
  subcommand->callback([command, &exit_code] { exit_code = Render(*command); });
}

}  // namespace brelmo::tavi::tools
