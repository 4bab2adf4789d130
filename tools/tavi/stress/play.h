// Plays an episode against a module and holds what it does against the model.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "process/child_process.h"
#include "stress/episode.h"
#include "trial/trial.h"

namespace brelmo::tavi::tools {

// To be called in a child process, because a module that hangs ends it. Ends at the first round
// with a fault. Returns the exit code of the child; FindFailure reads the rest.
//
// Events of a round come at once, so more than one outcome may be right: writes and dumps have to
// be those of some order of the events.
int PlayEpisode(const Episode& episode, const TrialSetup& setup, ChildReport& report);

struct Failure {
  size_t round = 0;  // in which it was found
  std::string text;
  bool is_hang = false;
};

// What a child that played an episode found; empty when all was right.
std::optional<Failure> FindFailure(const ChildEnd& end);

}  // namespace brelmo::tavi::tools
