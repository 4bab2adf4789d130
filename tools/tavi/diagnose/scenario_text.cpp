// The story as a scenario.
#include <algorithm>
#include <map>

#include "console/input.h"
#include "console/wording.h"
#include "diagnose/diagnosis.h"
#include "diagnose/posture_track.h"

namespace brelmo::tavi::tools {

namespace {

using Kind = StoryEvent::Kind;

// What makes the scenario active, and what does not; the log has no values.
constexpr int kSupportedValue = 5;
constexpr int kOtherValue = 7;
constexpr int kUsecase = 6;
constexpr int kOtherUsecase = 23;
constexpr int kUnknownCode = -5;
constexpr size_t kMostEvents = 3000;

class LifeWriter {
 public:
  LifeWriter(const Diagnosis& diagnosis, const Life& life, std::string& text)
      : diagnosis_(diagnosis), field_(diagnosis.field()), life_(life), text_(text) {}

  void Run() {
    PutInit();
    if (field_.candidate != nullptr) FindPath();
    if (!life_.has_begin) {
      Comment("the log begins in the middle: what was before is made up");
      const auto first =
          std::find_if(life_.events.begin(), life_.events.end(), [](const auto& any) {
            return any.kind == Kind::kScenarioOff || any.kind == Kind::kScenarioOn ||
                   any.kind == Kind::kCase;
          });
      const bool is_in_call = first != life_.events.end() && first->kind != Kind::kScenarioOn;
      if (is_in_call) {
        PutPosture(0);
        Step("announce " + std::to_string(kSupportedValue));
        has_value_ = true;
        StartUsecase();
      }
    }
    for (size_t i = 0; i < life_.events.size(); ++i) {
      if (i == kMostEvents) {
        Comment("more events than a scenario is good for; the rest is left out");
        break;
      }
      PutEvent(i);
    }
  }

 private:
  void Step(const std::string& step) { text_ += step + "\n"; }
  void Comment(const std::string& comment) { text_ += "# " + comment + "\n"; }

  void PutInit() {
    if (!life_.end_of_init) {
      Step("init");
      return;
    }
    for (const uint32_t number : life_.init) {
      const LogEntry& entry = diagnosis_.material.entries[number];
      if (entry.event == LogEvent::kNoCommonClient) {
        Step("refuse common-client " + std::to_string(entry.numbers[0]));
      }
    }
    switch (*life_.end_of_init) {
      case LogEvent::kNoMemory:
        Step("refuse memory\ninit\nexpect init -12");
        break;
      case LogEvent::kNoHingeAngle:
        Comment("the code is not logged");
        Step("refuse sensor " + std::to_string(kUnknownCode) + "\ninit\nexpect init -1");
        break;
      case LogEvent::kNoListeners:
        Step("init\nexpect init -1");
        break;
      case LogEvent::kInvalidParameters:
        Step("init\nexpect no handle");
        break;
      default:
        Step("init\nexpect init 0");
        break;
    }
  }

  // ---- Postures ----

  // One posture behind each event that leads from the first to the last.
  void FindPath() {
    const PostureWalk walk(*field_.candidate, diagnosis_.material, diagnosis_.story, life_);
    const PostureTrack track = TrackPostures(walk, life_, true);
    const size_t count = std::min(life_.events.size(), kMostEvents);
    path_.assign(count, 0);
    for (size_t i = count; i-- > 0;) {
      const PostureSet& set = track.postures[i];
      if (i + 1 == count) {
        path_[i] = First(set);
        continue;
      }
      const auto leads = [&](size_t posture) {
        PostureSet one;
        one.set(posture);
        PostureWalk::State state = track.states[i + 1];
        const PostureSet reached = walk.Advance(one, i + 1, state);
        return reached.test(path_[i + 1]);
      };
      // Where it need not move it stays.
      if (set[path_[i + 1]] && leads(path_[i + 1])) {
        path_[i] = path_[i + 1];
        continue;
      }
      path_[i] = First(set);
      for (size_t posture = 0; posture < field_.candidate->choices().size(); ++posture) {
        if (!set[posture] || !leads(posture)) continue;
        path_[i] = posture;
        break;
      }
    }
  }

  static size_t First(const PostureSet& set) {
    for (size_t i = 0; i < set.size(); ++i) {
      if (set[i]) return i;
    }
    return 0;
  }

  // The hinge of event `i`, where it is another one.
  void PutPosture(size_t i) {
    if (i >= path_.size()) return;
    const auto angle = field_.candidate->choices().at(path_[i]).hinge_angle;
    if (!angle || angle == hinge_) return;
    Step("hinge " + std::to_string(*angle) +
         "  # not logged: one with which all that follows fits");
    hinge_ = angle;
  }
  // Whether the case of event `i` cannot have come of a rotation alone.
  bool IsByHinge(size_t i) const {
    if (i >= path_.size() || life_.events[i].kind != Kind::kCase) return false;
    const auto angle = field_.candidate->choices().at(path_[i]).hinge_angle;
    return angle && angle != hinge_;
  }
  int RotationAt(size_t i) const {
    return i < path_.size() ? field_.candidate->choices().at(path_[i]).rotation : 0;
  }

  // ---- Events ----

  // What the module did of an event: up to the next that the host told, of its cause.
  std::vector<size_t> CausedBy(size_t i) const {
    std::vector<size_t> caused;
    for (size_t k = i + 1; k < life_.events.size() && k < i + 50; ++k) {
      if (life_.events[k].cause == i) caused.push_back(k);
    }
    return caused;
  }

  void PutEvent(size_t i) {
    const StoryEvent& event = life_.events[i];
    if (event.kind == Kind::kTold) {
      const std::vector<size_t> caused = CausedBy(i);
      PutTime(event);
      if (caused.empty() || life_.events[caused.front()].kind != Kind::kCase) PutPosture(i);
      PutFaults(caused);
      PutTold(i, caused);
      if (!caused.empty() && event.IsRotation() && IsByHinge(caused.front())) {
        Step("expect writes 0");
        PutPosture(caused.front());
      }
      PutExpectations(caused);
      return;
    }
    if (event.cause != UINT32_MAX) return;  // with what caused it
    PutTime(event);
    if (event.kind == Kind::kCase) {
      PutFaults({i});
      const auto before = hinge_;
      PutPosture(i);
      if (hinge_ == before) Comment("no hinge angle is known that makes the module do this");
      PutExpectations({i});
    } else if (event.kind == Kind::kScenarioOn || event.kind == Kind::kScenarioOff) {
      PutFaults({i});
      Comment("what the host told is missing in the log");
      PutScenario(event.kind == Kind::kScenarioOn);
      PutExpectations({i});
    }
  }

  void PutTime(const StoryEvent& event) {
    const std::string time = TimeText(diagnosis_.material, event);
    const Place place = PlaceOf(diagnosis_.material, event);
    Comment((time.empty() ? "" : time + ", ") + DescribePlace(diagnosis_.material, place) +
            (event.is_behind_gap ? "; lines before it are missing" : ""));
  }

  void PutScenario(bool is_on) {
    if (is_on) {
      if (!has_value_) Step("announce " + std::to_string(kSupportedValue));
      has_value_ = true;
      if (!is_running_) StartUsecase();
    } else {
      StopUsecase();
    }
  }

  // Which use case it was is not logged: one runs at most, and further ones are that one again.
  void StartUsecase() {
    Step("start " + std::to_string(kUsecase) + (is_running_ ? "  # which one is not logged" : ""));
    is_running_ = true;
  }
  void StopUsecase() {
    Step("stop " + std::to_string(kUsecase));
    is_running_ = false;
  }

  // A stop without which the scenario stays what it is.
  void StopWithoutEffect(size_t i) {
    const bool is_needed = is_running_ && (has_value_ || IsRunningNext(i));
    if (is_needed || !is_running_) {
      Step("stop " + std::to_string(kOtherUsecase) + "  # which one is not logged");
    } else {
      StopUsecase();
    }
  }

  // Whether a use case runs when a value makes the scenario begin next.
  bool IsRunningNext(size_t i) const {
    for (size_t k = i + 1; k < life_.events.size(); ++k) {
      const StoryEvent& later = life_.events[k];
      if (later.kind == Kind::kScenarioOn) {
        return later.cause != UINT32_MAX && !life_.events[later.cause].is_usecase;
      }
    }
    return false;
  }

  // Whether a supported value is there when the next use case starts, by whether that begins the
  // scenario; none when nothing tells.
  std::optional<bool> HasValueNext(size_t i) const {
    for (size_t k = i + 1; k < life_.events.size(); ++k) {
      const StoryEvent& later = life_.events[k];
      if (later.kind == Kind::kScenarioOn) {
        return later.cause == UINT32_MAX || life_.events[later.cause].is_usecase;
      }
      if (later.kind != Kind::kTold || !later.is_usecase || later.number != 21) continue;
      const std::vector<size_t> caused = CausedBy(k);
      if (caused.empty() && !is_running_) return false;
    }
    return std::nullopt;
  }

  void PutTold(size_t i, const std::vector<size_t>& caused) {
    const StoryEvent& event = life_.events[i];
    const auto causes = [&](Kind kind) {
      return std::any_of(caused.begin(), caused.end(),
                         [&](size_t k) { return life_.events[k].kind == kind; });
    };
    if (event.is_usecase && event.number == simulator::kUsecaseStarted) {
      if (causes(Kind::kScenarioOn) && !has_value_)
        PutScenario(true);
      else
        StartUsecase();
    } else if (event.is_usecase && event.number == simulator::kUsecaseStopped) {
      if (causes(Kind::kScenarioOff)) {
        StopUsecase();
      } else {
        StopWithoutEffect(i);
      }
    } else if (event.is_usecase) {
      Step("raw usecase " + std::to_string(event.number));
    } else if (event.number == simulator::kValueAnnounced) {
      const bool is_supported = causes(Kind::kScenarioOn) ||
                                (!has_value_ && !is_running_ && HasValueNext(i).value_or(true));
      if (causes(Kind::kScenarioOn) && !is_running_) StartUsecase();
      Step("announce " + std::to_string(is_supported ? kSupportedValue : kOtherValue) +
           "  # the value is not logged");
      has_value_ = has_value_ || is_supported;
    } else if (event.number == simulator::kValueWithdrawn) {
      const bool is_supported = causes(Kind::kScenarioOff) ||
                                (has_value_ && !is_running_ && !HasValueNext(i).value_or(true));
      Step("withdraw " + std::to_string(is_supported ? kSupportedValue : kOtherValue) +
           "  # the value is not logged");
      if (is_supported) has_value_ = false;
    } else if (event.IsRotation()) {
      size_t at = i;
      for (const size_t k : caused) {
        if (life_.events[k].kind == Kind::kCase) at = k;
      }
      Step("rotation " + std::to_string(RotationAt(at)) + "  # the rotation is not logged");
    } else {
      Step("raw common " + std::to_string(event.number));
    }
  }

  // ---- Writes ----

  bool IsWrite(size_t i) const { return life_.events[i].write != WriteResult::kNotMade; }

  void PutFaults(const std::vector<size_t>& caused) {
    size_t refused = 0;
    bool has_accepted = false;
    bool is_mixed = false;
    int code = kUnknownCode;
    for (const size_t i : caused) {
      const StoryEvent& event = life_.events[i];
      if (event.write == WriteResult::kRefused) {
        ++refused;
        is_mixed = is_mixed || has_accepted;
        if (event.delivery != UINT32_MAX) {
          code = diagnosis_.material.deliveries[event.delivery].result.value_or(code);
        }
      } else if (IsWrite(i)) {
        has_accepted = true;
      }
    }
    is_status_refused_too_ = is_mixed;
    if (refused == 0) return;
    if (is_mixed) {
      Comment("only the second write was refused; a scenario refuses from the first one on");
      refused = caused.size();
    }
    Step("dsp refuse " + std::to_string(refused) + " " + std::to_string(code) +
         (code == kUnknownCode ? "  # the code is not logged" : ""));
  }

  void PutExpectations(const std::vector<size_t>& caused) {
    size_t writes = 0;
    bool is_known = field_.candidate != nullptr;
    for (const size_t i : caused) {
      const StoryEvent& event = life_.events[i];
      if (IsWrite(i)) ++writes;
      is_known = is_known && !event.is_behind_gap && event.write != WriteResult::kUnknown &&
                 event.to != kUnknownCase;
    }
    if (!is_known) return;
    Step("expect writes " + std::to_string(writes));
    for (const size_t i : caused) {
      const StoryEvent& event = life_.events[i];
      const bool is_accepted = event.write == WriteResult::kAccepted;
      if (event.kind == Kind::kScenarioOn || event.kind == Kind::kScenarioOff) {
        if (is_accepted && !is_status_refused_too_) {
          Step(std::string("expect status ") + (event.kind == Kind::kScenarioOn ? "1" : "0"));
        }
      } else if (event.kind == Kind::kCase) {
        const auto number =
            CaseOf(*field_.candidate, diagnosis_.material, diagnosis_.story, life_, event.to);
        if (is_accepted && number && !field_.candidate->source().is_recovered) {
          Step("expect case " + std::to_string(*number));
        }
        if (event.write == WriteResult::kRefused) {
          Step("expect log UpdateTuningData: fail to update tuning.");
        }
        if (event.outcome == LogEvent::kNoValidData) Step("expect log : no valid data");
      }
    }
  }

  const Diagnosis& diagnosis_;
  const FieldCase field_;
  const Life& life_;
  std::string& text_;
  std::vector<size_t> path_;  // by event, in AllPostures()
  std::optional<int> hinge_;
  bool has_value_ = false;
  bool is_status_refused_too_ = false;
  bool is_running_ = false;
};

}  // namespace

std::string WriteScenario(const Diagnosis& diagnosis) {
  std::string text(kScenarioHead);
  for (const MaterialFile& file : diagnosis.material.files) text += " " + Printable(file.name);
  text += "\n# Hinge readings and the values of events are not logged: such that fit are put in.\n";
  if (const Candidate* const candidate = diagnosis.naming()) {
    text += "# Play it with the configuration of " + Printable(candidate->source().name) + ".\n";
  } else {
    text += "# Without a configuration, what the hinge did is not known and left out.\n";
  }
  const auto& entries = diagnosis.material.entries;
  const bool is_bare = std::any_of(entries.begin(), entries.end(), [](const LogEntry& entry) {
    return entry.thread < 0 && entry.clock == ClockKind::kNone;
  });
  if (is_bare) {
    text +=
        "# The log has neither times nor threads: what came of which event is likely only, and an\n"
        "# expectation may fail for that.\n";
  }
  size_t played = 0;
  for (const Life& life : diagnosis.story.lives) {
    if (life.is_captured || (life.init.empty() && life.events.empty())) continue;
    if (played++ > 0) text += "deinit\n";
    text += "say process " + (life.process < 0 ? "unknown" : std::to_string(life.process)) + "\n";
    LifeWriter(diagnosis, life, text).Run();
  }
  if (played == 0) {
    throw InputError(
        "there is no log from which a scenario could be made: a dump is one moment, "
        "and a capture does not tell what the host did");
  }
  return text;
}

}  // namespace brelmo::tavi::tools
