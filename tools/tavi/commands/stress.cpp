// tavi stress: random events on all of the host's threads at once.
#include <cstdint>

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "commands/module_options.h"
#include "process/interrupts.h"
#include "stress/stress.h"

namespace brelmo::tavi::tools {

namespace {

struct StressCommand {
  std::string module;
  int seconds = 10;
  std::optional<uint32_t> seed;
  std::string output;
  size_t jobs = DefaultJobs();
  int patience = kDefaultPatience;
  bool is_forced = false;
};

int Stress(const StressCommand& options) {
  const uint64_t seed = options.seed ? *options.seed : std::random_device()();
  const std::string output =
      options.output.empty() ? "tavi-stress-" + std::to_string(seed) : options.output;
  StressOptions stress;
  stress.module = options.module;
  stress.time = std::chrono::seconds(options.seconds);
  stress.seed = seed;
  stress.output = output;
  stress.is_forced = options.is_forced;
  stress.jobs = options.jobs;
  stress.patience = std::chrono::seconds(options.patience);
  return RunInterruptible([&] { return Stress(stress) ? kExitAsExpected : kExitBroken; });
}

}  // namespace

void AddStressCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "stress", "Send a build of the module random events on all host threads at once");
  const auto options = std::make_shared<StressCommand>();
  command->add_option("MODULE", options->module, "The module's library")
      ->type_name("SO")
      ->required();
  command->add_option("--seconds", options->seconds, "How long to go on; default: 10")
      ->check(CLI::Range(0, 1000000))
      ->transform(WithoutLeadingZeros)
      ->type_name("S");
  command
      ->add_option("--seed", options->seed,
                   "What the random numbers begin with: the same seed sends the same events; "
                   "default: another one each time, which is printed")
      ->transform(WithoutLeadingZeros)
      ->type_name("N");
  command
      ->add_option("-o,--output", options->output,
                   "Where a failure's scenario goes, with its configuration and data files; "
                   "default: tavi-stress-SEED")
      ->type_name("DIR");
  AddForceOption(*command, options->is_forced);
  AddJobsOption(*command, options->jobs, "Episodes that are played");
  AddPatienceOption(*command, options->patience);
  command->footer("Exit code: 0 nothing was found, 1 a failure was, 2 bad usage or no module.");
  command->callback([options, &exit_code] { exit_code = Stress(*options); });
}

}  // namespace brelmo::tavi::tools
