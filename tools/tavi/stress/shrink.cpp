#include "stress/shrink.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "data_folder.h"
#include "loaded_module.h"
#include "scenario/run_reporter.h"
#include "scenario/scenario.h"
#include "scenario/scenario_runner.h"

namespace brelmo::tavi::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kMostTime{40};
// How often a candidate is played when it depends on how the threads interleave.
constexpr size_t kAttempts = 12;

// Drops what the failure does without: halves first, single items last.
template <typename Item, typename Test>
void Reduce(std::vector<Item>& items, const Test& fails) {
  for (size_t size = std::max<size_t>(items.size() / 2, 1); !items.empty(); size /= 2) {
    for (size_t at = 0; at < items.size();) {
      std::vector<Item> fewer = items;
      const auto begin = fewer.begin() + static_cast<std::ptrdiff_t>(at);
      fewer.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(size, items.size() - at)));
      if (fails(fewer)) {
        items = std::move(fewer);
      } else {
        at += size;
      }
    }
    if (size == 1) break;
  }
}

// A host has handlers for all of the events.
bool IsPlayable(const Episode& episode) {
  const auto config = ReadModelConfig(episode.Config());
  const bool has_hinge = std::any_of(config.cases.begin(), config.cases.end(), [](const auto& one) {
    return one.conditions.count("HingeAngle") != 0;
  });
  const auto needs_hinge = [](const std::string& step) {
    return step.find("hinge") != std::string::npos;
  };
  return !config.cases.empty() &&
         (has_hinge ||
          std::none_of(episode.rounds.begin(), episode.rounds.end(), [&](const Round& round) {
            return std::any_of(round.events.begin(), round.events.end(), needs_hinge);
          }));
}

// Each event a round.
std::vector<Round> OneAtATime(const std::vector<Round>& rounds) {
  std::vector<Round> result;
  for (const Round& round : rounds) {
    if (round.fault) result.push_back({round.fault, {}, false, false});
    for (const std::string& event : round.events) result.push_back({{}, {event}, false, false});
    if (round.has_dump) result.push_back({{}, {}, true, false});
    if (round.is_last) result.push_back({{}, {}, false, true});
  }
  return result;
}

}  // namespace

std::optional<FailedEpisode> PlayEpisodes(const StressSetup& setup, size_t count,
                                          const std::function<Episode(size_t)>& make) {
  ChildLimits limits;
  limits.jobs = setup.jobs;
  limits.time = std::chrono::seconds(60) + 3 * setup.patience;
  std::optional<FailedEpisode> failed;
  limits.end_time = setup.patience;
  const std::string folder = setup.folder->Make();
  RunChildren(count, limits,
              [&](size_t index, ChildReport& report) {
                const std::string own = folder + "/" + std::to_string(index);
                std::error_code error;
                if (!std::filesystem::create_directory(own, error)) {
                  throw MachineError(own + ": cannot be made", error.value());
                }
                return PlayEpisode(
                    make(index),
                    {setup.module, own, setup.patience,
                     [&report](const std::string& fault) { report.Add(fault + '\0'); }},
                    report);
              },
              {[&](size_t index, const ChildEnd& end) {
                if (failed && failed->number < index) return;
                if (const auto failure = FindFailure(end)) failed = FailedEpisode{index, *failure};
              }});
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return failed;
}

ShortEpisode Shrink(const StressSetup& setup, const Episode& episode, const Failure& failure) {
  // Ways to tell that a candidate still has the failure, the most useful way first.
  enum class Way { kRunFails, kFailsOneAtATime, kFailsAtOnce };

  StressSetup quick = setup;
  if (failure.is_hang) quick.patience = std::chrono::seconds(1);
  ShortEpisode best = {episode, failure, true};
  Way way = Way::kRunFails;
  const auto deadline = Clock::now() + kMostTime;
  const auto fails = [&](const Episode& candidate) {
    if (Clock::now() > deadline || !IsPlayable(candidate)) return false;
    if (way == Way::kRunFails) {
      // A run waits long for a module that hangs.
      if (failure.is_hang || !DoesRunFail(quick, candidate)) return false;
    } else {
      const auto failed = PlayEpisodes(quick, way == Way::kFailsAtOnce ? kAttempts : 1,
                                       [&candidate](size_t /*index*/) { return candidate; });
      if (!failed) return false;
      best.failure = failed->failure;
    }
    best.episode = candidate;
    return true;
  };

  Episode candidate = episode;
  candidate.rounds = OneAtATime(episode.rounds);
  if (!fails(candidate)) {
    way = Way::kFailsOneAtATime;
    if (!fails(candidate)) {
      way = Way::kFailsAtOnce;
      candidate = best.episode = episode;
      best.is_serial = false;
    }
  }
  if (const size_t count = best.failure.round + 1;
      way != Way::kRunFails && count < candidate.rounds.size()) {
    candidate.rounds.resize(count);
    best.episode = candidate;
  }
  // One pass may drop what kept another from dropping more.
  const auto size = [&candidate] {
    return candidate.rounds.size() + candidate.event_count() + candidate.cases.size();
  };
  constexpr int kMostPasses = 5;
  size_t old_size = size() + 1;
  for (int pass = 0; pass < kMostPasses && size() < old_size; ++pass) {
    old_size = size();
    Reduce(candidate.rounds, [&](const std::vector<Round>& fewer) {
      Episode next = candidate;
      next.rounds = fewer;
      return fails(next);
    });
    for (size_t i = 0; !best.is_serial && i < candidate.rounds.size(); ++i) {
      Reduce(candidate.rounds[i].events, [&](const std::vector<std::string>& fewer) {
        Episode next = candidate;
        next.rounds[i].events = fewer;
        return fails(next);
      });
    }
    Reduce(candidate.cases, [&](const std::vector<std::string>& fewer) {
      Episode next = candidate;
      next.cases = fewer;
      return fails(next);
    });
  }
  if (way == Way::kRunFails) {
    way = Way::kFailsOneAtATime;
    fails(candidate);  // for its words
  }
  // Only files that are still named.
  for (auto at = best.episode.files.begin(); at != best.episode.files.end();) {
    const bool is_used = best.episode.Config().find(at->first) != std::string::npos;
    at = is_used ? std::next(at) : best.episode.files.erase(at);
  }
  return best;
}

std::string ScenarioText(const Episode& episode) {
  std::string text;
  EngineModel model = episode.MakeModel();
  bool is_present = true;
  int refusals = 0;
  for (const Round& round : episode.rounds) {
    if (round.fault) {
      text += *round.fault + "\n";
      const auto dsp = std::get<DspStep>(ParseStep(*round.fault, 0).value().action);
      if (dsp.what == DspStep::What::kRefuse) refusals = dsp.count;
      if (dsp.what == DspStep::What::kAbsent) is_present = false;
      if (dsp.what == DspStep::What::kPresent) is_present = true;
    }
    for (const std::string& step : round.events) {
      const auto& due = model.Apply(ToRawEvent(step));
      const size_t count = is_present ? due.size() : 0;
      text += step + "\nexpect writes " + std::to_string(count) + "\n";
      for (size_t i = 0; i < count; ++i) {
        if (refusals-- > 0) continue;
        // A status first, and corrections behind it or alone.
        constexpr size_t kStatusSize = 12;
        const auto& bytes = due[i]->bytes;
        if (bytes.size() == kStatusSize && bytes[0] == 0) {
          text += "expect status " + std::to_string(bytes[8]) + "\n";
        } else {
          text += "expect case " + std::to_string(model.previous() - model.cases().data()) + "\n";
        }
      }
      refusals = std::max(refusals, 0);
    }
    if (round.has_dump) text += "dump\n";
    if (round.is_last) text += "deinit\n";
  }
  return text;
}

bool DoesRunFail(const StressSetup& setup, const Episode& episode) {
  ChildLimits limits;
  limits.time = setup.patience + std::chrono::seconds(1);  // a run is more patient
  limits.end_time = setup.patience;
  const std::string data_root = setup.folder->Make();
  const ChildEnd end = RunChild(limits, [&](ChildReport& report) {
    const simulator::DataFolder folder(data_root);
    for (const auto& [name, content] : episode.files) {
      ScratchFolder::WriteFileIn(data_root, name, content);
    }
    const simulator::LoadedModule module(setup.module);
    const auto reporter = MakeTextReporter(/*colour=*/false, [](const std::string& /*text*/) {});
    ScenarioRunner runner(module, {episode.Config(), "scenario"}, *reporter, report);
    std::istringstream lines(ScenarioText(episode));
    bool is_alive = true;
    for (const Step& step : ParseScenario(lines)) is_alive = is_alive && runner.Play(step);
    if (!is_alive || !runner.Finish()) {
      report.Finish(1);
      std::_Exit(1);
    }
    return runner.is_as_expected() ? 0 : 1;
  });
  std::error_code ignored;
  std::filesystem::remove_all(data_root, ignored);
  return end.how != ChildEnd::How::kReturned || end.result != 0;
}

}  // namespace brelmo::tavi::tools
