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

// Plays the episodes that `make` returns, each in a process of its own, from 0 to `count` - 1. The
// first that fails, by its number, is what counts.
struct FailedEpisode {
  size_t number = 0;
  Failure failure;
};
std::optional<FailedEpisode> PlayEpisodes(const StressSetup& setup, size_t count,
                                          const std::function<Episode(size_t)>& make);

struct ShortEpisode {
  Episode episode;
  Failure failure;
  // One event at a time is enough to make it fail.
  bool is_serial = false;
};
ShortEpisode Shrink(const StressSetup& setup, const Episode& episode, const Failure& failure);

// The steps, and what each must come to when events come one at a time.
std::string ScenarioText(const Episode& episode);

// Whether `tavi run` fails with that.
bool DoesRunFail(const StressSetup& setup, const Episode& episode);

}  // namespace brelmo::tavi::tools
