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

// In a child process: a module that does not return ends it. Ends at the first round with a fault;
// the result is the child's.
//
// Events of a round come at once, so more than one outcome may be right: the writes have to be
// those of one order of the events, and so does the state that a dump shows.
int PlayEpisode(const Episode& episode, const TrialSetup& setup, ChildReport& report);

struct Failure {
  size_t round = 0;  // that it was found in
  std::string text;
  bool is_hang = false;
};

// Of a child that played an episode; none when all was right.
std::optional<Failure> FindFailure(const ChildEnd& end);

}  // namespace brelmo::tavi::tools
