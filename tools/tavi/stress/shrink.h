// Makes a failing episode short, and a scenario of it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "process/scratch_folder.h"
#include "stress/episode.h"
#include "stress/play.h"

namespace brelmo::tavi::tools {

struct StressSetup {
  std::string module;
  const ScratchFolder* folder = nullptr;
  size_t jobs = 1;
  std::chrono::seconds patience{10};
};

struct FailedEpisode {
  size_t number = 0;
  Failure failure;
};
// Plays the episodes 0 to `count` - 1 that `make` returns, each in a process of its own. Returns
// the failed one with the lowest number; empty when all held.
std::optional<FailedEpisode> PlayEpisodes(const StressSetup& setup, size_t count,
                                          const std::function<Episode(size_t)>& make);

struct ShortEpisode {
  Episode episode;
  Failure failure;
  bool is_serial = false;  // it fails with one event at a time, too
};
// Drops what the failure does without.
ShortEpisode Shrink(const StressSetup& setup, const Episode& episode, const Failure& failure);

// The steps, one event at a time, each with what the model expects of it.
std::string ScenarioText(const Episode& episode);

// Whether `tavi run` fails with that scenario.
bool DoesRunFail(const StressSetup& setup, const Episode& episode);

}  // namespace brelmo::tavi::tools
