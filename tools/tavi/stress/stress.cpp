#include "stress/stress.h"

#include <unistd.h>

#include <cstdio>

#include <filesystem>
#include <optional>
#include <sstream>

#include "console/input.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "process/scratch_folder.h"
#include "stress/found_scenario.h"
#include "stress/shrink.h"
#include "trial/module_check.h"

namespace brelmo::tavi::tools {

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void RequireTaken(const StressOptions& options) {
  RequireModule(options.module, options.patience);
  const std::string path = std::filesystem::absolute(options.module).string();
  const std::string why = FindWhyNotTaken(path, options.patience);
  if (!why.empty()) {
    throw InputError("no host takes this module, so there is nothing to send events to: " + why +
                     "; build it for this host, or see all of it with tavi validate");
  }
}

bool PutFailure(const StressOptions& options, const StressSetup& setup, OutputFolder& output,
                uint64_t number, const Failure& failure) {
  Print(IsColourWanted(), colour::kRed, "FAILED");
  std::printf("  episode %llu, round %zu\n", static_cast<unsigned long long>(number),
              failure.round);
  std::fflush(stdout);
  const ShortEpisode found = Shrink(setup, MakeEpisode(options.seed, number), failure);
  const bool does_fail = DoesRunFail(setup, found.episode);
  std::istringstream lines(found.failure.text);
  for (std::string line; std::getline(lines, line);) {
    std::printf("  %s\n", Printable(line).c_str());
  }
  PutScenario(
      output, setup, found,
      "tavi stress, seed " + std::to_string(options.seed) + ", episode " + std::to_string(number),
      does_fail);
  return false;
}

}  // namespace

bool Stress(const StressOptions& options) {
  RequireTaken(options);
  OutputFolder output(options.output, "tavi stress",
                      {{{options.module, "the module"}}, "", nullptr, options.is_forced});
  std::printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
  std::fflush(stdout);
  const ScratchFolder folder;
  const StressSetup setup = {std::filesystem::absolute(options.module).string(), &folder,
                             options.jobs, options.patience};

  const bool has_progress = isatty(STDERR_FILENO) != 0;
  const auto begin = Clock::now();
  const size_t batch = 4 * options.jobs;
  size_t played = 0;
  size_t events = 0;
  std::optional<FailedEpisode> failed;
  do {
    failed = PlayEpisodes(setup, batch,
                          [&](size_t index) { return MakeEpisode(options.seed, played + index); });
    if (failed) break;
    for (size_t i = 0; i < batch; ++i) {
      events += MakeEpisode(options.seed, played + i).event_count();
    }
    played += batch;
    if (has_progress) {
      std::fprintf(stderr, "\r\033[K%s, %.0f of %lld s", Count(events, "event").c_str(),
                   SecondsSince(begin), static_cast<long long>(options.time.count()));
    }
  } while (SecondsSince(begin) < static_cast<double>(options.time.count()));
  if (has_progress) std::fprintf(stderr, "\r\033[K");
  if (failed) return PutFailure(options, setup, output, played + failed->number, failed->failure);

  std::printf("%s: ", Printable(options.module).c_str());
  Print(IsColourWanted(), colour::kGreen,
        Count(events, "event") + " in " + Count(played, "episode") + " held");
  std::printf(" (%.1f s)\n", SecondsSince(begin));
  return true;
}

}  // namespace brelmo::tavi::tools
