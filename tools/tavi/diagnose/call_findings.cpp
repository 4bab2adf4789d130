// Findings about calls: what the DSP refused, calls without a status or a case, cases by turns.
#include <algorithm>
#include <map>
#include <set>

#include "check/posture_text.h"
#include "diagnose/findings.h"
#include "diagnose/posture_track.h"

namespace brelmo::tavi::tools {

namespace {

using Kind = StoryEvent::Kind;

class CallFinder {
 public:
  CallFinder(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found)
      : field_(field), life_(life), events_(life.events), found_(found) {}

  void Run() {
    is_whole_ = !AreLinesMissing(0, events_.size() - 1);
    for (size_t i = 0; i < events_.size(); ++i) {
      const StoryEvent& event = events_[i];
      if (event.kind == Kind::kCase && event.write == WriteResult::kRefused) {
        AddRefused(i, "was refused and not repeated", "write-refused");
      } else if (event.kind == Kind::kCase && event.write == WriteResult::kNotMade) {
        AddRefused(i,
                   event.outcome == LogEvent::kNoValidData
                       ? "was not made: its data files are empty"
                       : "was not made",
                   "write-not-made");
      } else if (event.write == WriteResult::kRefused) {
        AddRefusedStatus(i);
      }
      if (event.kind == Kind::kScenarioOn && !event.is_either_status) FindNoCase(i);
      if (event.IsRotation()) FindNoCaseBehindRotation(i);
    }
    if (life_.is_captured) {
      FindResponsesWithoutStatus();
    } else {
      FindCallsWithoutStatus();
    }
  }

 private:
  Place PlaceAt(size_t i) const { return PlaceOf(field_.material, events_[i]); }
  Place OutcomePlace(size_t i) const {
    const StoryEvent& event = events_[i];
    return event.outcome_entry == UINT32_MAX ? PlaceAt(i)
                                             : PlaceOfEntry(field_.material, event.outcome_entry);
  }
  void Add(const std::string& name, Severity severity, bool is_certain,
           const std::vector<Place>& places, const std::string& message,
           const std::string& consequence) {
    last_of_name_[name] = found_.size();
    found_.push_back(
        MakeFieldFinding(field_, name, severity, is_certain, places, message, consequence));
  }

  // Whether there are so many of the name that one more is counted only. To look for the end of
  // each would take time that grows with the square of the log.
  bool IsOneOfMany(const std::string& name) {
    constexpr size_t kMostOfAName = 200;
    const auto last = last_of_name_.find(name);
    if (++counts_[name] <= kMostOfAName || last == last_of_name_.end()) return false;
    ++found_[last->second].more;
    return true;
  }

  // " for 3.2 s", up to the event; " for at least 3.2 s" where that is the material's last one.
  std::string For(size_t from, size_t to, bool has_ended) const {
    const auto time = TimeBetween(field_.material, field_.story, events_[from], events_[to]);
    if (AreLinesMissing(from, to)) {
      const std::string end = ", or until something of which the lines are missing";
      return (has_ended && time ? " for " + DescribeDuration(*time) : "") + end;
    }
    if (!time || to == from) return has_ended ? "" : ", to the end of what is there";
    return (has_ended ? " for " : " for at least ") + DescribeDuration(*time);
  }

  // Between the two, as far as the material tells.
  bool AreLinesMissing(size_t from, size_t to) const {
    for (size_t i = from + 1; i <= to; ++i) {
      if (events_[i].is_behind_gap) return true;
    }
    const Place begin = PlaceAt(from);
    const Place end = PlaceAt(to);
    const auto& faults = field_.material.faults;
    return std::any_of(faults.begin(), faults.end(), [&](const MaterialFault& fault) {
      return fault.kind == MaterialFault::Kind::kDroppedLines && fault.place.file == begin.file &&
             begin.line < fault.place.line && fault.place.line < end.line;
    });
  }

  // The event that ends what began with `i`, or the last one.
  template <typename Predicate>
  std::pair<size_t, bool> EndOf(size_t i, const Predicate& is_end) const {
    for (size_t k = i + 1; k < events_.size(); ++k) {
      if (is_end(events_[k])) return {k, true};
    }
    return {events_.size() - 1, false};
  }

  void AddRefused(size_t i, const std::string& what, const std::string& name) {
    if (IsOneOfMany(name)) return;
    const StoryEvent& event = events_[i];
    const auto [end, has_ended] = EndOf(i, [](const StoryEvent& later) {
      return (later.kind == Kind::kCase && later.write == WriteResult::kAccepted) ||
             later.kind == Kind::kScenarioOff;
    });
    const std::string stayed = event.in_force == kUnknownCase
                                   ? "what it had before"
                                   : NameCase(field_, life_, event.in_force);
    Add(name, Severity::kError, true, {OutcomePlace(i)},
        "the write of " + NameCase(field_, life_, event.to) + " " + what + "; the DSP kept " +
            stayed + For(i, end, has_ended),
        name == "write-refused"
            ? "the module goes on as if it had been accepted: it sends again at the next change of "
              "case or the next call only. Look for why the tuning entry refused at that time"
            : "the module goes on as if it had been sent; check the case's data files with `tavi "
              "check`");
  }

  void AddRefusedStatus(size_t i) {
    const bool is_on = events_[i].kind == Kind::kScenarioOn;
    const std::string name = is_on ? "call-without-status" : "status-without-call";
    if (IsOneOfMany(name)) return;
    const auto [end, has_ended] = EndOf(i, [](const StoryEvent& later) {
      return later.kind == Kind::kScenarioOn || later.kind == Kind::kScenarioOff;
    });
    if (events_[i].is_either_status) {
      Add(name, Severity::kError, false, {PlaceAt(i)},
          "a status was refused and not repeated, at the beginning or at the end of a call: the "
          "log "
          "begins too late to tell; the DSP kept the one before" +
              For(i, end, has_ended),
          "a DSP that has status 0 need not apply the responses, and one that has 1 compensates "
          "what "
          "is no call");
      return;
    }
    Add(name, Severity::kError, is_whole_, {PlaceAt(i)},
        is_on ? "the status of a call was refused and not repeated; the DSP took the scenario for "
                "inactive" +
                    For(i, end, has_ended)
              : "the status at the end of a call was refused and not repeated; the DSP took the "
                "scenario for active" +
                    For(i, end, has_ended),
        is_on ? "the responses are sent, but a DSP that has status 0 need not apply them"
              : "the DSP goes on compensating what is no call");
  }

  void FindNoCase(size_t i) {
    const auto [end, has_ended] = EndOf(i, [](const StoryEvent& later) {
      return later.kind == Kind::kCase || later.kind == Kind::kScenarioOff ||
             later.kind == Kind::kScenarioOn;
    });
    // What is cut off by the end of the log may come yet.
    if (!has_ended || events_[end].is_behind_gap) return;
    const bool is_late = events_[end].kind == Kind::kCase;
    if (is_late) {
      if (life_.is_captured || !IsLater(i, end) || events_[end].cause == events_[i].cause) return;
    }
    if (IsOneOfMany("no-case")) return;
    const std::string what = is_late ? "a call had no case" + For(i, end, true) + ", then " +
                                           NameCase(field_, life_, events_[end].to) + " was taken"
                                     : "a whole call had no case" + For(i, end, true);
    const std::string stayed = events_[i].in_force == kUnknownCase
                                   ? "what it had before"
                                   : NameCase(field_, life_, events_[i].in_force);
    const std::string consequence =
        "nothing was sent: the DSP stayed with " + stayed + ", for whatever posture that was";
    // Before the first reading there is no angle, and only rotations count.
    const auto posture = PostureAt(i);
    const bool has_had_case =
        std::any_of(events_.begin(), events_.begin() + static_cast<ptrdiff_t>(i),
                    [](const StoryEvent& event) { return event.kind == Kind::kCase; });
    if (posture == Reading::kNone && !has_had_case) {
      Add("before-first-reading", Severity::kWarning, field_.is_candidate_fit && is_whole_,
          {PlaceAt(i)}, what + ": the hinge had not been read",
          consequence +
              "; have the host deliver an angle right after the module registers, or add a case "
              "without a hinge angle's condition");
    } else {
      const bool is_read = field_.candidate == nullptr
                               ? has_had_case
                               : field_.is_candidate_fit && posture == Reading::kSome;
      const bool is_certain = is_whole_ && is_read;
      Add("no-case", Severity::kWarning, is_certain, {PlaceAt(i)},
          what + (posture == Reading::kEither && !has_had_case
                      ? ": no case covers the posture, or the hinge had not been read"
                      : ": no case covers the posture"),
          consequence + ". `tavi report` shows which postures no case covers");
    }
  }

  // In a call a rotation took nothing, and no other rotation than the one before has a case there.
  // A host that tells the same one again looks like that, too.
  void FindNoCaseBehindRotation(size_t i) {
    if (field_.candidate == nullptr || !field_.is_candidate_fit || life_.is_captured || i == 0) {
      return;
    }
    const auto [end, has_ended] = EndOf(i, [](const StoryEvent& later) {
      return later.kind == Kind::kCase || later.kind == Kind::kScenarioOff || later.IsRotation();
    });
    if (!has_ended || AreLinesMissing(i, end)) return;
    const bool is_case = events_[end].kind == Kind::kCase;
    if (is_case && !IsLater(i, end)) return;
    // A logger may put the case before the rotation that it came of.
    if (events_[i - 1].kind == Kind::kCase && !IsLater(i - 1, i)) return;
    const PostureTrack& track = Track();
    const auto taken = track.states[i].taken;
    if (!track.states[i].is_active || !taken) return;
    const PostureChoices& choices = field_.candidate->choices();
    const PostureSet turned =
        choices.Move(track.postures[i - 1] & choices.PosturesOf(*taken), true, taken, std::nullopt);
    std::vector<Posture> uncovered;
    for (size_t posture = 0; posture < choices.size(); ++posture) {
      if (!turned[posture]) continue;
      if (choices.Next(std::nullopt, posture)) return;
      uncovered.push_back(choices.at(posture));
    }
    if (uncovered.empty() || IsOneOfMany("no-case")) return;
    Add("no-case", Severity::kWarning, false, {PlaceAt(i)},
        "a call had no case" + For(i, end, true) + ", from a rotation on: none covers " +
            DescribePostures(uncovered),
        "nothing was sent: the DSP stayed with " + field_.candidate->DescribeCase(*taken) +
            ". `tavi report` shows which postures no case covers");
  }

  // Whether so much time lies between the two that the later one did not come of the other.
  bool IsLater(size_t from, size_t to) const {
    constexpr int64_t kAtOnce = 20000;
    const auto time = TimeBetween(field_.material, field_.story, events_[from], events_[to]);
    return time && *time >= kAtOnce;
  }

  const PostureTrack& Track() {
    if (!track_) {
      track_ = TrackPostures(PostureWalk(*field_.candidate, field_.material, field_.story, life_),
                             life_, true);
    }
    return *track_;
  }

  // Whether the hinge had been read, as far as the candidate and the events tell.
  enum class Reading { kNone, kSome, kEither };
  Reading PostureAt(size_t i) {
    if (field_.candidate == nullptr || life_.is_captured || !life_.has_begin)
      return Reading::kEither;
    const PostureTrack& track = Track();
    const PostureChoices& choices = field_.candidate->choices();
    bool is_none = false;
    bool is_some = false;
    for (size_t posture = 0; posture < choices.size(); ++posture) {
      // The set may be wider than what no case covers, where a case came later.
      if (!track.postures[i][posture] || choices.Next(std::nullopt, posture)) continue;
      (choices.at(posture).hinge_angle ? is_some : is_none) = true;
    }
    if (is_none == is_some) return Reading::kEither;
    return is_none ? Reading::kNone : Reading::kSome;
  }

  void FindCallsWithoutStatus() {
    size_t running = 0;
    size_t begin = kNoIndex;
    bool is_on = !life_.has_begin;  // not known
    size_t announced = 0;
    for (size_t i = 0; i < events_.size(); ++i) {
      const StoryEvent& event = events_[i];
      if (event.kind == Kind::kScenarioOn || event.kind == Kind::kCase) is_on = true;
      if (event.kind != Kind::kTold && event.kind != Kind::kOther) begin = kNoIndex;
      if (event.kind == Kind::kScenarioOff) is_on = false;
      if (event.kind != Kind::kTold) continue;
      if (!event.is_usecase) {
        if (event.number == simulator::kValueAnnounced) ++announced;
        continue;
      }
      if (event.number == simulator::kUsecaseStarted) {
        if (running++ == 0 && !is_on) begin = i;
      } else if (event.number == simulator::kUsecaseStopped) {
        if (running > 0) --running;
        // Its own status may have been lost, and not the one at its end.
        const bool is_answered = i + 1 < events_.size() && events_[i + 1].kind != Kind::kTold;
        if (running == 0 && begin != kNoIndex && !is_answered) {
          AddCallWithoutStatus(begin, i, announced);
          begin = kNoIndex;
        }
      }
    }
  }

  void AddCallWithoutStatus(size_t begin, size_t end, size_t announced) {
    if (IsOneOfMany("call-without-status")) return;
    Add("call-without-status", Severity::kWarning, false, {PlaceAt(begin), PlaceAt(end)},
        "a use case ran" + For(begin, end, true) + " without the scenario becoming active: " +
            (announced == 0 ? "no common value had been announced since init"
                            : "of the values announced none was 5 or 6 then"),
        "the module sent nothing for it: right where the call was not on the loudspeakers, else "
        "look for the host's common event 2");
  }

  void FindResponsesWithoutStatus() {
    bool is_inactive = false;
    for (size_t i = 0; i < events_.size(); ++i) {
      const StoryEvent& event = events_[i];
      if (event.kind == Kind::kScenarioOn) is_inactive = false;
      if (event.kind == Kind::kScenarioOff) is_inactive = true;
      if (event.kind == Kind::kCase && is_inactive && !IsOneOfMany("call-without-status")) {
        Add("call-without-status", Severity::kWarning, true, {PlaceAt(i)},
            "responses were sent while the status was 0",
            "the module sends none then: deliveries are missing in the capture, or are of another "
            "module");
        is_inactive = false;
      }
    }
  }

  const FieldCase& field_;
  const Life& life_;
  const std::vector<StoryEvent>& events_;
  std::vector<FieldFinding>& found_;
  std::map<std::string, size_t> counts_;
  std::map<std::string, size_t> last_of_name_;  // in found_
  bool is_whole_ = true;                        // no lines are known to be missing
  std::optional<PostureTrack> track_;
};

}  // namespace

void FindInCalls(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found) {
  if (!life.events.empty()) CallFinder(field, life, found).Run();
}

void FindByTurns(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found) {
  struct Turns {
    std::vector<Place> places;
    const StoryEvent* first = nullptr;
    const StoryEvent* last = nullptr;
    bool is_quick = true;  // the times between two, where they are known
  };
  std::map<std::pair<CaseId, CaseId>, Turns> by_pair;
  const StoryEvent* before = nullptr;
  for (const StoryEvent& event : life.events) {
    if (event.kind == StoryEvent::Kind::kScenarioOn ||
        event.kind == StoryEvent::Kind::kScenarioOff) {
      before = nullptr;
    }
    if (event.kind != StoryEvent::Kind::kCase) continue;
    const bool is_back = before != nullptr && event.from >= 0 && event.to >= 0 &&
                         event.to == before->from && event.from == before->to;
    if (is_back) {
      Turns& turns = by_pair[std::minmax(event.from, event.to)];
      if (turns.places.empty()) {
        turns.places.push_back(PlaceOf(field.material, *before));
        turns.first = before;
      }
      turns.places.push_back(PlaceOf(field.material, event));
      turns.last = &event;
      const auto time = TimeBetween(field.material, field.story, *before, event);
      constexpr int64_t kQuick = 1000000;
      turns.is_quick = turns.is_quick && time && *time < kQuick;
    }
    before = &event;
  }
  for (auto& [pair, turns] : by_pair) {
    const size_t count = turns.places.size();
    std::string why;
    bool is_certain = false;
    if (field.candidate != nullptr) {
      const auto a = CaseOf(*field.candidate, field.material, field.story, life, pair.first);
      const auto b = CaseOf(*field.candidate, field.material, field.story, life, pair.second);
      // Two cases that no posture has in common follow the hinge.
      if (!a || !b || !field.candidate->choices().Alternate(*a, *b)) continue;
      if (const Finding* const reason = field.candidate->AlternationFinding(*a, *b)) {
        why = "; `tavi check` says of it: " + reason->message + " [" + reason->name + "]";
      }
      // One of them is never taken but by turns.
      const auto is_first_somewhere = [&](size_t number) {
        for (size_t i = 0; i < field.candidate->choices().size(); ++i) {
          if (field.candidate->choices().Next(std::nullopt, i) == number) return true;
        }
        return false;
      };
      is_certain = field.is_candidate_fit && !(is_first_somewhere(*a) && is_first_somewhere(*b));
    } else if (count < 4 || !turns.is_quick) {
      continue;
    }
    const auto time = TimeBetween(field.material, field.story, *turns.first, *turns.last);
    turns.places.resize(std::min<size_t>(count, 20));
    found.push_back(MakeFieldFinding(
        field, "alternating-cases", Severity::kWarning, is_certain, turns.places,
        NameCase(field, life, pair.first) + " and " + NameCase(field, life, pair.second) +
            " were sent by turns, " + std::to_string(count) + " times" +
            (time ? " in " + DescribeDuration(*time) : "") + why,
        "where two cases match a posture, each change of the hinge angle there flips between them, "
        "which is heard as the sound changing; give the postures to one of them"));
  }
}

}  // namespace brelmo::tavi::tools
