#include "diagnose/story.h"

#include <algorithm>
#include <map>

#include "diagnose/line_order.h"

namespace brelmo::tavi::tools {

namespace {

using Kind = StoryEvent::Kind;

// Tells the lives of one process, from its lines in their order.
class LogTeller {
 public:
  LogTeller(const Material& material, Story& story) : material_(material), story_(story) {}

  void Add(uint32_t number) {
    const LogEntry& entry = material_.entries[number];
    if (entry.event == LogEvent::kCut || entry.event == LogEvent::kUnknown) return;
    if (IsOfInit(entry.event) || entry.event == LogEvent::kInitialized) {
      AddToInit(number, entry);
      return;
    }
    is_in_init_ = false;
    if (lives_.empty()) Begin(entry.process);
    if (IsToldByHost(entry.event) || entry.event == LogEvent::kUnsupportedCommonEvent ||
        entry.event == LogEvent::kUnsupportedUsecaseEvent) {
      AddTold(number, entry);
    } else if (IsStatus(entry.event)) {
      AddStatus(number, entry);
    } else if (IsCase(entry.event)) {
      AddCase(number, entry);
    } else if (IsCaseOutcome(entry.event)) {
      AddOutcome(number, entry);
    } else {
      Append(Kind::kOther, number);
    }
  }

  void End() {
    for (Life& each : lives_) story_.lives.push_back(std::move(each));
  }

 private:
  Life& life() { return lives_.back(); }

  void Begin(int process) {
    lives_.emplace_back();
    life().process = process;
    is_on_.reset();
    either_status_.reset();
    current_ = kUnknownCase;
    in_force_ = kUnknownCase;
    awaited_.reset();
    last_told_.clear();
    last_told_anywhere_.reset();
    answered_ = UINT32_MAX;
  }

  void AddToInit(uint32_t number, const LogEntry& entry) {
    if (!is_in_init_) {
      Begin(entry.process);
      life().has_begin = true;
      is_on_ = false;
      current_ = kNoCase;
    }
    is_in_init_ = true;
    life().init.push_back(number);
    const bool is_end = entry.event == LogEvent::kInitialized ||
                        entry.event == LogEvent::kInvalidParameters ||
                        (IsWithin(entry.event, LogEvent::kNoMemory, LogEvent::kNoHingeAngle));
    if (is_end) {
      life().end_of_init = entry.event;
      is_in_init_ = false;
    }
  }

  StoryEvent& Append(Kind kind, uint32_t number) {
    StoryEvent event;
    event.kind = kind;
    event.entry = number;
    event.in_force = in_force_;
    life().events.push_back(event);
    return life().events.back();
  }

  void MarkGap(StoryEvent& event) {
    // Where the log begins in the middle, the beginning is one.
    if (!event.is_behind_gap) story_.gaps.push_back(event.entry);
    event.is_behind_gap = true;
  }

  void AddTold(uint32_t number, const LogEntry& entry) {
    const bool is_known = IsToldByHost(entry.event);
    StoryEvent& event = Append(is_known ? Kind::kTold : Kind::kUnsupported, number);
    event.number = entry.numbers[0];
    event.is_usecase =
        entry.event == LogEvent::kUsecaseEvent || entry.event == LogEvent::kUnsupportedUsecaseEvent;
    if (!is_known) return;
    const auto index = static_cast<uint32_t>(life().events.size() - 1);
    last_told_[entry.thread] = index;
    last_told_anywhere_ = index;
  }

  static bool IsOfScenario(const StoryEvent& event) {
    return event.is_usecase || event.number == simulator::kValueAnnounced ||
           event.number == simulator::kValueWithdrawn;
  }
  static bool IsAdding(const StoryEvent& event) {
    return event.number ==
           (event.is_usecase ? simulator::kUsecaseStarted : simulator::kValueAnnounced);
  }

  // What the host told last on this line's thread, or at all where threads are not known.
  std::optional<uint32_t> CauseOf(const LogEntry& entry) const {
    if (entry.thread < 0) return last_told_anywhere_;
    const auto found = last_told_.find(entry.thread);
    return found == last_told_.end() ? std::nullopt : std::optional<uint32_t>(found->second);
  }

  // The status of what was told comes at once, or when a write that is on its way has ended.
  bool IsLongBefore(const StoryEvent& told, const LogEntry& entry) const {
    constexpr int64_t kLong = 1000000;
    const LogEntry& before = material_.entries[told.entry];
    return before.clock == entry.clock && entry.us - before.us > kLong;
  }

  void AddStatus(uint32_t number, const LogEntry& entry) {
    CloseAwaited();
    auto cause = CauseOf(entry);
    // Each is answered once; else the line of the one that counts is missing.
    if (cause && (!IsOfScenario(life().events[*cause]) || *cause == answered_ ||
                  IsLongBefore(life().events[*cause], entry))) {
      cause.reset();
    }
    bool is_contradiction = false;
    bool is_on = true;
    if (cause) {
      is_on = IsAdding(life().events[*cause]);
      is_contradiction = is_on_ && *is_on_ == is_on;
      answered_ = *cause;
    } else if (is_on_) {
      is_on = !*is_on_;
    }
    if (cause || is_on_) SettleStatus(!is_on);
    const bool is_either = !cause && !is_on_;
    StoryEvent& event = Append(is_on ? Kind::kScenarioOn : Kind::kScenarioOff, number);
    event.is_either_status = is_either;
    if (is_either) either_status_ = life().events.size() - 1;
    event.write =
        entry.event == LogEvent::kStatusAccepted ? WriteResult::kAccepted : WriteResult::kRefused;
    event.bytes = entry.numbers[0];
    event.cause = cause.value_or(UINT32_MAX);
    if (is_contradiction || (!cause && (is_on_ || life().events.size() > 1))) MarkGap(event);
    if (!is_either) is_on_ = is_on;
    current_ = kNoCase;
  }

  // What follows tells which a status was that nothing before it tells: they come by turns.
  void SettleStatus(bool is_on) {
    if (!either_status_) return;
    StoryEvent& event = life().events[*either_status_];
    event.kind = is_on ? Kind::kScenarioOn : Kind::kScenarioOff;
    event.is_either_status = false;
    either_status_.reset();
  }

  void AddCase(uint32_t number, const LogEntry& entry) {
    CloseAwaited();
    StoryEvent& event = Append(Kind::kCase, number);
    const bool is_first = entry.event == LogEvent::kCaseTaken;
    if (is_first) SettleStatus(true);
    event.from = is_first ? kNoCase : entry.numbers[0];
    event.to = is_first ? entry.numbers[0] : entry.numbers[1];
    const bool is_known = current_ != kUnknownCase;
    const bool is_expected = is_on_.value_or(true) && (!is_known || current_ == event.from);
    if (!is_expected) MarkGap(event);
    const auto cause = CauseOf(entry);
    if (cause) {
      const StoryEvent& told = life().events[*cause];
      const bool is_of_scenario = is_first && IsOfScenario(told) && IsAdding(told);
      // A line on the sensor's thread comes of no told event; without threads, one right behind it
      // does.
      const bool is_near =
          entry.thread >= 0 || (*cause + 3 >= life().events.size() && !IsLongBefore(told, entry));
      if ((is_of_scenario || told.IsRotation()) && is_near && used_cause_ != *cause) {
        event.cause = *cause;
        if (told.IsRotation()) used_cause_ = *cause;
      }
    }
    // A case is of a scenario that is on: whatever told of it has been answered.
    if (is_first && cause && IsOfScenario(life().events[*cause])) answered_ = *cause;
    is_on_ = true;
    current_ = event.to;
    awaited_ = life().events.size() - 1;
  }

  void AddOutcome(uint32_t number, const LogEntry& entry) {
    if (!awaited_) {
      // The line of the case is missing.
      StoryEvent& lost = Append(Kind::kCase, number);
      lost.from = current_;
      lost.to = kUnknownCase;
      MarkGap(lost);
      current_ = kUnknownCase;
      awaited_ = life().events.size() - 1;
      is_on_ = true;
    }
    StoryEvent& event = life().events[*awaited_];
    event.outcome = entry.event;
    event.outcome_entry = number;
    if (entry.event == LogEvent::kWriteAccepted) {
      event.write = WriteResult::kAccepted;
      event.bytes = entry.numbers[0];
      in_force_ = event.to;
    } else {
      event.write =
          entry.event == LogEvent::kWriteRefused ? WriteResult::kRefused : WriteResult::kNotMade;
    }
    event.in_force = in_force_;
    awaited_.reset();
  }

  // No line came that tells what became of the last case.
  void CloseAwaited() {
    if (!awaited_) return;
    StoryEvent& event = life().events[*awaited_];
    story_.gaps.push_back(event.entry);
    in_force_ = event.in_force = kUnknownCase;
    awaited_.reset();
  }

  const Material& material_;
  Story& story_;
  std::vector<Life> lives_;
  bool is_in_init_ = false;
  std::optional<bool> is_on_;
  std::optional<size_t> either_status_;  // one of which it is not known yet
  CaseId current_ = kUnknownCase;
  CaseId in_force_ = kUnknownCase;
  std::optional<size_t> awaited_;      // a case whose outcome is to come
  std::map<int, uint32_t> last_told_;  // by thread
  std::optional<uint32_t> last_told_anywhere_;
  uint32_t used_cause_ = UINT32_MAX;
  uint32_t answered_ = UINT32_MAX;  // what the last status came of
};

void TellCapture(const Material& material, uint32_t file, Story& story) {
  std::map<std::pair<std::optional<size_t>, std::optional<size_t>>, CaseId> ids;
  for (size_t i = 0; i < story.responses.size(); ++i) {
    ids.emplace(story.responses[i], static_cast<CaseId>(i));
  }
  Life life;
  life.is_captured = true;
  CaseId current = kUnknownCase;
  CaseId in_force = kUnknownCase;
  for (uint32_t i = 0; i < material.deliveries.size(); ++i) {
    const Delivery& delivery = material.deliveries[i];
    if (delivery.place.file != file) continue;
    StoryEvent event;
    event.delivery = i;
    event.bytes = static_cast<int>(delivery.size);
    if (delivery.result) {
      event.write = *delivery.result == 0 ? WriteResult::kAccepted : WriteResult::kRefused;
    }
    if (delivery.status) {
      event.kind = *delivery.status ? Kind::kScenarioOn : Kind::kScenarioOff;
      event.in_force = in_force;
      current = kNoCase;
      life.events.push_back(event);
    }
    if (!delivery.has_response()) continue;
    const auto pair = std::make_pair(delivery.left, delivery.right);
    const auto [id, is_new] = ids.emplace(pair, static_cast<CaseId>(story.responses.size()));
    if (is_new) story.responses.push_back(pair);
    event.kind = Kind::kCase;
    event.from = current;
    event.to = id->second;
    current = event.to;
    if (event.write == WriteResult::kAccepted) in_force = event.to;
    // One of the two; from then on even a refusal leaves that open.
    if (event.write == WriteResult::kUnknown && in_force != event.to) in_force = kUnknownCase;
    event.in_force = in_force;
    life.events.push_back(event);
  }
  if (!life.events.empty()) story.lives.push_back(std::move(life));
}

// Whether the lines can tell of this delivery.
bool Fits(const StoryEvent& event, const Delivery& delivery) {
  const bool is_status = event.kind != Kind::kCase;
  if (is_status != delivery.status.has_value()) return false;
  if (event.bytes > 0 && static_cast<size_t>(event.bytes) != delivery.size) return false;
  if (delivery.result && event.write != WriteResult::kUnknown &&
      (*delivery.result == 0) != (event.write == WriteResult::kAccepted)) {
    return false;
  }
  return !is_status || event.is_either_status ||
         *delivery.status == (event.kind == Kind::kScenarioOn);
}

// Gives the writes of the one life that a log tells their deliveries, where there is one way only.
void Align(const Material& material, Story& story) {
  std::vector<StoryEvent*> writes;
  for (Life& life : story.lives) {
    for (StoryEvent& event : life.events) {
      const bool is_write = event.kind == Kind::kScenarioOn || event.kind == Kind::kScenarioOff ||
                            (event.kind == Kind::kCase && event.write != WriteResult::kNotMade);
      if (is_write) writes.push_back(&event);
    }
  }
  const auto& deliveries = material.deliveries;
  const bool is_one_file =
      std::all_of(deliveries.begin(), deliveries.end(), [&](const Delivery& delivery) {
        return delivery.place.file == deliveries.front().place.file;
      });
  if (writes.empty() || deliveries.empty() || !is_one_file) return;
  const auto shorter = std::min(writes.size(), deliveries.size());
  const auto longer = std::max(writes.size(), deliveries.size());
  std::optional<size_t> shift;
  size_t compared = 0;
  for (size_t by = 0; by + shorter <= longer; ++by) {
    const size_t in_writes = writes.size() > deliveries.size() ? by : 0;
    const size_t in_deliveries = writes.size() > deliveries.size() ? 0 : by;
    bool is_fit = true;
    // Of what repeats itself all the time there is more than one way anyhow.
    constexpr size_t kMostCompared = 100000000;
    if (compared > kMostCompared) return;
    for (size_t i = 0; i < shorter && is_fit; ++i, ++compared) {
      is_fit = Fits(*writes[in_writes + i], deliveries[in_deliveries + i]);
    }
    if (!is_fit) continue;
    if (shift) return;
    shift = by;
  }
  if (!shift) return;
  for (size_t i = 0; i < shorter; ++i) {
    const bool is_more_writes = writes.size() > deliveries.size();
    StoryEvent& event = *writes[i + (is_more_writes ? *shift : 0)];
    event.delivery = static_cast<uint32_t>(i + (is_more_writes ? 0 : *shift));
    if (!event.is_either_status) continue;
    event.kind = *deliveries[event.delivery].status ? Kind::kScenarioOn : Kind::kScenarioOff;
    event.is_either_status = false;
  }
  story.is_capture_aligned = true;
}

}  // namespace

Story BuildStory(const Material& material) {
  Story story;
  for (std::vector<uint32_t>& numbers : LinesByProcess(material, story.repeated_lines)) {
    PutInOrder(material, numbers, story.clock_jumps);
    LogTeller teller(material, story);
    for (const uint32_t number : numbers) teller.Add(number);
    teller.End();
  }
  std::sort(story.clock_jumps.begin(), story.clock_jumps.end());
  Align(material, story);
  if (!story.is_capture_aligned) {
    for (uint32_t file = 0; file < material.files.size(); ++file) {
      if (material.files[file].deliveries > 0) TellCapture(material, file, story);
    }
  }
  return story;
}

std::optional<int64_t> TimeBetween(const Material& material, const Story& story,
                                   const StoryEvent& from, const StoryEvent& to) {
  if (from.entry == UINT32_MAX || to.entry == UINT32_MAX) {
    if (from.delivery == UINT32_MAX || to.delivery == UINT32_MAX) return std::nullopt;
    const auto begin = material.deliveries[from.delivery].time_us;
    const auto end = material.deliveries[to.delivery].time_us;
    return begin && end && *end >= *begin ? std::optional<int64_t>(*end - *begin) : std::nullopt;
  }
  const LogEntry& begin = material.entries[from.entry];
  const LogEntry& end = material.entries[to.entry];
  if (begin.clock == ClockKind::kNone || begin.clock != end.clock) return std::nullopt;
  const auto& jumps = story.clock_jumps;
  const auto jump = std::upper_bound(jumps.begin(), jumps.end(), from.entry);
  if (jump != jumps.end() && *jump <= to.entry) return std::nullopt;
  return end.us >= begin.us ? std::optional<int64_t>(end.us - begin.us) : std::nullopt;
}

Place PlaceOfEntry(const Material& material, uint32_t entry) {
  const LogEntry& line = material.entries[entry];
  return {line.file, line.line, line.offset};
}

Place PlaceOf(const Material& material, const StoryEvent& event) {
  if (event.entry == UINT32_MAX) return material.deliveries[event.delivery].place;
  return PlaceOfEntry(material, event.entry);
}

std::string TimeText(const Material& material, const StoryEvent& event) {
  if (event.entry != UINT32_MAX) {
    return DescribeTime(material.TimeOf(material.entries[event.entry]));
  }
  const auto& time = material.deliveries[event.delivery].time_us;
  return time ? DescribeTime(TimeOfSeconds(*time)) : "";
}

}  // namespace brelmo::tavi::tools
