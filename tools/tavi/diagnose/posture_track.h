// The postures of a device through the events of a log.
#pragma once

#include <optional>
#include <vector>

#include "capture/material.h"
#include "diagnose/candidate.h"
#include "diagnose/posture_path.h"
#include "diagnose/story.h"

namespace brelmo::tavi::tools {

// The case of a candidate that an event's `id` stands for; the first of several.
std::optional<size_t> CaseOf(const Candidate& candidate, const Material& material,
                             const Story& story, const Life& life, CaseId id);

// The events of one life as steps of a candidate's engine. All are borrowed.
class PostureWalk {
 public:
  // Of the engine between two events.
  struct State {
    bool is_active = false;
    std::optional<size_t> taken;
  };

  PostureWalk(const Candidate& candidate, const Material& material, const Story& story,
              const Life& life);

  PostureSet Begin(State& state) const;
  // Where the device can be behind event `i` when it was in `now` before; empty when the engine
  // does not do there what the event says. Between what the host tells and what the module does of
  // it the hinge stays.
  PostureSet Advance(const PostureSet& now, size_t i, State& state) const;
  const Candidate& candidate() const { return candidate_; }

 private:
  bool IsWithoutCase(size_t i) const;
  bool IsLikelyWithoutCase(size_t i) const;
  PostureSet AdvanceCase(const PostureSet& now, const StoryEvent& event, State& state) const;

  const Candidate& candidate_;
  const Material& material_;
  const Story& story_;
  const Life& life_;
  bool has_threads_ = false;
  std::vector<bool> changes_case_;  // rotations whose case is an event of its own
};

// For each event of a life.
struct PostureTrack {
  std::vector<bool> is_possible;  // that the candidate's engine does what the event says
  // Where the device can be behind it; where its case is taken at all, when it is not possible.
  std::vector<PostureSet> postures;
  std::vector<PostureWalk::State> states;  // before it
};

// `keeps_sets`: whether `postures` and `states` are filled, which takes memory.
PostureTrack TrackPostures(const PostureWalk& walk, const Life& life, bool keeps_sets);

}  // namespace brelmo::tavi::tools
