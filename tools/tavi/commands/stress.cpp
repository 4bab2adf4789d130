// tavi stress: random events on all of the host's threads at once, until time is up or one of them
// comes to what it must not.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/config_options.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "process/scratch_folder.h"
#include "stress/shrink.h"
#include "trial/module_file.h"

namespace brelmo::tavi::tools {

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  std::string module;
  int seconds = 10;
  std::optional<uint32_t> seed;
  std::string output;
  bool is_forced = false;
  size_t jobs = std::max(1U, std::thread::hardware_concurrency());
  int patience = 10;  // seconds
};

// As a shell takes it for one word.
std::string ShellWord(const std::string& text) {
  const auto is_plain = [](unsigned char c) {
    return std::isalnum(c) != 0 || std::strchr("/._-+:,=@%", c) != nullptr;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), is_plain)) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

// Writes the files, and says where they are and how to play them.
void PutScenario(OutputFolder& output, const StressSetup& setup, const ShortEpisode& found,
                 const std::string& origin, bool does_fail) {
  std::string text = "# Found by " + origin + ":\n";
  std::istringstream failure(found.failure.text);
  for (std::string line; std::getline(failure, line);) text += "# " + Printable(line) + "\n";
  text += ScenarioText(found.episode);
  std::vector<std::pair<std::string, std::string>> files = {
      {"device.conf", found.episode.Config() + "\n"}, {"stress.scenario", text}};
  for (const auto& [name, content] : found.episode.files)
    files.emplace_back("etc/" + name, content);
  for (const auto& [name, content] : files) output.Add(name, content);
  try {
    output.Commit();
  } catch (const InputError& error) {
    std::printf("  %s; what was to be stored:\n", Printable(error.what()).c_str());
    for (const auto& [name, content] : files) {
      std::printf("--- %s\n%s", name.c_str(), content.c_str());
    }
    return;
  }
  const std::filesystem::path folder = output.name();
  std::printf("shrunk to %s and %s, which", Count(found.episode.event_count(), "event").c_str(),
              Count(found.episode.cases.size(), "case").c_str());
  std::printf("%s",
              does_fail ? " fail in a run, too:\n"
              : found.is_serial
                  ? " do not fail in a run: it does not look at what was found:\n"
                  : " do not fail in a run: that plays one event after the other, and these fail "
                    "at the same time:\n");
  std::printf("  tavi run --module %s --config %s --data-root %s --scenario %s\n",
              ShellWord(setup.module).c_str(), ShellWord((folder / "device.conf").string()).c_str(),
              ShellWord((folder / "etc").string()).c_str(),
              ShellWord((folder / "stress.scenario").string()).c_str());
}

int Stress(const Options& options) {
  CheckIsModule(options.module);
  const uint64_t seed = options.seed ? *options.seed : std::random_device()();
  OutputFolder output(
      options.output.empty() ? "tavi-stress-" + std::to_string(seed) : options.output,
      "tavi stress", {{{options.module, "the module"}}, "", nullptr, options.is_forced});
  std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
  std::fflush(stdout);
  const WorkFolder folder;
  StressSetup setup;
  setup.module = std::filesystem::absolute(options.module).string();
  setup.folder = &folder;
  setup.jobs = options.jobs;
  setup.patience = std::chrono::seconds(options.patience);

  const bool has_progress = isatty(STDERR_FILENO) != 0;
  const auto begin = Clock::now();
  const auto seconds = [begin] {
    return std::chrono::duration<double>(Clock::now() - begin).count();
  };
  const size_t batch = 4 * options.jobs;
  size_t played = 0;
  size_t events = 0;
  std::optional<FailedEpisode> failed;
  do {
    failed =
        PlayEpisodes(setup, batch, [&](size_t index) { return MakeEpisode(seed, played + index); });
    if (failed) break;
    for (size_t i = 0; i < batch; ++i) events += MakeEpisode(seed, played + i).event_count();
    played += batch;
    if (has_progress) {
      std::fprintf(stderr, "\r\033[K%s, %.0f of %d s", Count(events, "event").c_str(), seconds(),
                   options.seconds);
    }
  } while (seconds() < options.seconds);
  if (has_progress) std::fprintf(stderr, "\r\033[K");

  const bool is_colour = IsColourWanted();
  if (!failed) {
    folder.Remove();  // before what may find nobody to read it
    std::printf("%s: ", Printable(options.module).c_str());
    Print(is_colour, colour::kGreen,
          Count(events, "event") + " in " + Count(played, "episode") + " held");
    std::printf(" (%.1f s)\n", seconds());
    return kExitAsExpected;
  }
  const uint64_t number = played + failed->number;
  const Episode episode = MakeEpisode(seed, number);
  Print(is_colour, colour::kRed, "FAILED");
  std::printf("  episode %llu, round %zu\n", static_cast<unsigned long long>(number),
              failed->failure.round);
  const ShortEpisode found = Shrink(setup, episode, failed->failure);
  const bool does_fail = DoesRunFail(setup, found.episode);
  folder.Remove();
  std::istringstream lines(found.failure.text);
  for (std::string line; std::getline(lines, line);) {
    std::printf("  %s\n", Printable(line).c_str());
  }
  PutScenario(output, setup, found,
              "tavi stress, seed " + std::to_string(seed) + ", episode " + std::to_string(number),
              does_fail);
  return kExitBroken;
}

}  // namespace

void AddStressCommand(CLI::App& program, int& exit_code) {
  auto* const command = program.add_subcommand(
      "stress", "Send a build of the module random events on all host threads at once");
  const auto options = std::make_shared<Options>();
  command->add_option("MODULE", options->module, "The module's library")
      ->type_name("SO")
      ->required();
  command->add_option("--seconds", options->seconds, "How long to go on; default: 10")
      ->check(CLI::Range(0, 1000000))
      ->type_name("S");
  command
      ->add_option("--seed", options->seed,
                   "What the random numbers begin with: the same seed sends the same events; "
                   "default: another one each time, which is printed")
      ->transform([](const std::string& text) {
        // Zeros in front make no octal number of it.
        const size_t at = text.find_first_not_of('0');
        return at == std::string::npos || std::isdigit(static_cast<unsigned char>(text[at])) == 0
                   ? text
                   : text.substr(at);
      })
      ->type_name("N");
  command
      ->add_option("-o,--output", options->output,
                   "Where a failure's scenario goes, with its configuration and data files; "
                   "default: tavi-stress-SEED")
      ->type_name("DIR");
  AddForceOption(*command, options->is_forced);
  command
      ->add_option("--jobs", options->jobs,
                   "Episodes that are played at the same time; default: one for each processor")
      ->check(CLI::Range(1, 1000))
      ->type_name("N");
  command
      ->add_option("--patience", options->patience,
                   "How long the module may take with one call before it counts as hung; default: "
                   "10")
      ->check(CLI::Range(1, 3600))
      ->type_name("SECONDS");
  command->footer("Exit code: 0 nothing was found, 1 a failure was, 2 bad usage or no module.");
  command->callback([options, &exit_code] { exit_code = Stress(*options); });
}

}  // namespace brelmo::tavi::tools
