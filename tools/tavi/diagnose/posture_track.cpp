#include "diagnose/posture_track.h"

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

using Kind = StoryEvent::Kind;

}  // namespace

std::optional<size_t> CaseOf(const Candidate& candidate, const Material& material,
                             const Story& story, const Life& life, CaseId id) {
  if (id < 0) return std::nullopt;
  const auto index = static_cast<size_t>(id);
  if (!life.is_captured) return candidate.CaseOfKeys(material.keys[index]);
  const auto& [left, right] = story.responses[index];
  const auto found = candidate.CasesOfResponses(left ? &material.responses[*left] : nullptr,
                                                right ? &material.responses[*right] : nullptr);
  return found.empty() ? std::nullopt : std::optional<size_t>(candidate.cases()[found[0]].same_as);
}

PostureWalk::PostureWalk(const Candidate& candidate, const Material& material, const Story& story,
                         const Life& life)
    : candidate_(candidate),
      material_(material),
      story_(story),
      life_(life),
      changes_case_(life.events.size()) {
  for (const StoryEvent& event : life.events) {
    if (event.entry != UINT32_MAX && material.entries[event.entry].thread >= 0) has_threads_ = true;
    if (event.kind == Kind::kCase && event.cause != UINT32_MAX) changes_case_[event.cause] = true;
  }
}

// Whether a scenario begins here in which nothing is taken, by what follows.
bool PostureWalk::IsWithoutCase(size_t i) const {
  const auto& events = life_.events;
  for (size_t k = i + 1; k < events.size(); ++k) {
    if (events[k].kind == Kind::kTold || events[k].kind == Kind::kOther) continue;
    if (events[k].is_behind_gap) return false;
    // A case that the scenario takes is taken at once.
    constexpr int64_t kAtOnce = 20000;
    const auto time = TimeBetween(material_, story_, events[i], events[k]);
    if (time && *time > kAtOnce) return true;
    return events[k].kind != Kind::kCase || (has_threads_ && events[k].cause != events[i].cause);
  }
  return false;
}

// Without threads and times: something was told before its first case, which the module would have
// taken by then but for a thread that came in between.
bool PostureWalk::IsLikelyWithoutCase(size_t i) const {
  const auto& events = life_.events;
  if (has_threads_ || i + 2 >= events.size() || events[i + 1].kind != Kind::kTold) return false;
  const auto next = std::find_if(events.begin() + static_cast<ptrdiff_t>(i) + 1, events.end(),
                                 [](const StoryEvent& event) { return event.kind != Kind::kTold; });
  return next != events.end() && next->kind == Kind::kCase && !next->is_behind_gap &&
         next->cause != events[i].cause;
}

PostureSet PostureWalk::Begin(State& state) const {
  state = {!life_.has_begin, std::nullopt};
  return life_.has_begin ? candidate_.choices().Start() : candidate_.choices().Everywhere();
}

PostureSet PostureWalk::AdvanceCase(const PostureSet& now, const StoryEvent& event,
                                    State& state) const {
  const PostureChoices& choices = candidate_.choices();
  const auto previous = CaseOf(candidate_, material_, story_, life_, event.from);
  const auto to = CaseOf(candidate_, material_, story_, life_, event.to);
  state = {true, to};
  if (!to) return event.to == kUnknownCase ? choices.Everywhere() : PostureSet();
  const bool has_cause = event.cause != UINT32_MAX;
  const bool is_rotation = has_cause && life_.events[event.cause].IsRotation();
  if (!has_threads_ && !has_cause) {
    // A first one may have come of the scenario.
    const PostureSet moved = choices.Move(now, false, previous, to);
    return previous ? moved : moved | choices.Stay(now, previous, to);
  }
  if (has_cause && !is_rotation) return choices.Stay(now, previous, to);
  const PostureSet moved = choices.Move(now, is_rotation, previous, to);
  if (has_threads_ || !is_rotation) return moved;
  // It may as well have come of the hinge, behind a rotation that took nothing.
  const PostureSet rotated = now | choices.Move(now, true, previous, std::nullopt);
  return moved | choices.Move(rotated, false, previous, to);
}

PostureSet PostureWalk::Advance(const PostureSet& now, size_t i, State& state) const {
  const PostureChoices& choices = candidate_.choices();
  const StoryEvent& event = life_.events[i];
  // Lines are missing: anything may have happened.
  const PostureSet from = event.is_behind_gap ? choices.Everywhere() : now;
  switch (event.kind) {
    case Kind::kScenarioOn:
      state = {true, std::nullopt};
      if (event.is_either_status) return choices.Everywhere();
      if (IsWithoutCase(i)) return choices.Stay(from, std::nullopt, std::nullopt);
      if (IsLikelyWithoutCase(i)) {
        const PostureSet uncovered = choices.Stay(from, std::nullopt, std::nullopt);
        return uncovered.any() ? uncovered : from;
      }
      return from;
    case Kind::kScenarioOff:
      state = {false, std::nullopt};
      return from;
    case Kind::kCase:
      return AdvanceCase(from, event, state);
    case Kind::kTold: {
      const PostureSet there = choices.Drift(from, state.is_active, state.taken);
      if (!event.IsRotation() || changes_case_[i]) return there;
      if (!state.is_active) return choices.AnyRotation(there);
      return there | choices.Move(there, true, state.taken, std::nullopt);
    }
    case Kind::kUnsupported:
    case Kind::kOther:
      break;
  }
  return from;
}

PostureTrack TrackPostures(const PostureWalk& walk, const Life& life, bool keeps_sets) {
  const PostureChoices& choices = walk.candidate().choices();
  PostureTrack track;
  track.is_possible.assign(life.events.size(), true);
  PostureWalk::State state;
  PostureSet now = walk.Begin(state);
  for (size_t i = 0; i < life.events.size(); ++i) {
    if (keeps_sets) track.states.push_back(state);
    now = walk.Advance(now, i, state);
    if (now.none()) {
      track.is_possible[i] = false;
      if (state.taken) now = choices.PosturesOf(*state.taken);
      // A case that no posture ever takes.
      if (now.none()) now = choices.Everywhere();
    }
    if (keeps_sets) track.postures.push_back(now);
  }
  return track;
}

}  // namespace brelmo::tavi::tools
