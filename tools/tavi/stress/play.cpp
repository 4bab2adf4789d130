#include "stress/play.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "console/wording.h"
#include "dsp_message.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DspWrite;
using simulator::HostEvent;

// Marks in a child's report where a round begins.
constexpr char kRoundMark = '\x01';

constexpr size_t kThreads = 3;
using Queues = std::array<std::vector<HostEvent>, kThreads>;

// Tries the orders in which the threads' events may have come.
class OrderSearch {
 public:
  OrderSearch(const Queues& queues, const std::vector<DspWrite>& writes, bool is_present)
      : queues_(queues), writes_(writes), is_present_(is_present) {}

  // Adds each state that some order of the events with these writes leads to.
  void From(const EngineModel& model) { Go(model, {}, 0); }
  std::vector<EngineModel> TakeEnds() { return std::move(ends_); }

 private:
  using Position = std::array<size_t, kThreads>;

  void Go(const EngineModel& model, const Position& at, size_t written) {
    bool is_end = true;
    for (size_t thread = 0; thread < kThreads; ++thread) {
      if (at[thread] == queues_[thread].size()) continue;
      is_end = false;
      EngineModel next = model;
      const EngineModel::Writes& due = next.Apply(queues_[thread][at[thread]]);
      size_t next_written = written;
      if (is_present_ && !Match(due, next_written)) continue;
      Position next_at = at;
      ++next_at[thread];
      Go(next, next_at, next_written);
    }
    if (is_end && written == writes_.size()) AddEnd(model);
  }

  bool Match(const EngineModel::Writes& due, size_t& written) const {
    for (const EngineModel::Write* const write : due) {
      if (written == writes_.size()) return false;
      const auto& bytes = writes_[written++].bytes;
      if (!write->Matches(bytes.data(), bytes.size())) return false;
    }
    return true;
  }

  // The case sent last is all that the order decides: everything else belongs to one thread.
  void AddEnd(const EngineModel& model) {
    const bool is_known = std::any_of(ends_.begin(), ends_.end(), [&](const EngineModel& end) {
      return end.previous() == model.previous();
    });
    if (!is_known) ends_.push_back(model);
  }

  const Queues& queues_;
  const std::vector<DspWrite>& writes_;
  const bool is_present_;
  std::vector<EngineModel> ends_;
};

// What a dump says of the state, to the end of the keys.
std::string DumpHead(const EngineModel& model) {
  std::string head = model.DumpHead();
  if (model.previous() == nullptr) return head;
  for (const auto& [name, indices] : model.previous()->keys) {
    head += "Name : " + name + ", Supported Index: {";
    for (const int index : indices) head += std::to_string(index) + " ";
    head += "} ";
  }
  return head + "}\n";
}

std::string WritesText(const std::vector<DspWrite>& writes) {
  std::string text;
  for (const DspWrite& write : writes) text += "\n    " + WriteText(write);
  return text.empty() ? "\n    nothing" : text;
}

class Player {
 public:
  Player(const Episode& episode, Trial& trial) : trial_(trial) {
    states_.push_back(episode.MakeModel());
    for (const auto& [name, content] : episode.files) trial.WriteFile(name, content);
    trial.Start(episode.Config());
    const std::string dump = trial.Dump();
    table_ = dump.substr(std::min(dump.find("  TuningData:"), dump.size()));
  }

  void Play(const Round& round) {
    if (round.fault) SetFault(*round.fault);
    Queues queues;
    for (const std::string& step : round.events) {
      const HostEvent event = ToRawEvent(step);
      trial_.Post(step);
      queues[static_cast<size_t>(event.source)].push_back(event);
    }
    if (round.has_dump) CheckTable(trial_.Dump());
    if (round.is_last && trial_.host().handle() != nullptr) {
      trial_.Deinit();
      table_ = "\n";
    }
    trial_.Drain();
    CheckWrites(round, queues);
    if (round.has_dump) CheckState(trial_.Dump());
    trial_.CheckViolations();
  }

 private:
  void SetFault(const std::string& step) {
    const auto dsp = std::get<DspStep>(ParseStep(step, 0).value().action);
    switch (dsp.what) {
      case DspStep::What::kRefuse:
        trial_.host().dsp().RefuseNext(dsp.count, dsp.code);
        break;
      case DspStep::What::kSlow:
        trial_.host().dsp().SetDelay(dsp.delay);
        break;
      case DspStep::What::kAbsent:
      case DspStep::What::kPresent:
        is_present_ = dsp.what == DspStep::What::kPresent;
        trial_.host().SetTuningEntry(is_present_);
        break;
    }
  }

  void CheckTable(const std::string& dump) {
    const bool is_end = dump.size() >= table_.size() &&
                        dump.compare(dump.size() - table_.size(), table_.size(), table_) == 0;
    trial_.Expect(is_end, "a dump does not end as the first one did: " + Quote(dump));
  }

  void CheckState(const std::string& dump) {
    CheckTable(dump);
    if (trial_.host().handle() == nullptr) {
      trial_.ExpectText("the dump behind deinit", "\n", dump);
      return;
    }
    const std::string text = InFixedOrder(dump);
    std::vector<EngineModel> kept;
    for (const EngineModel& state : states_) {
      const std::string head = DumpHead(state);
      if (text.compare(0, head.size(), head) == 0) kept.push_back(state);
    }
    if (kept.empty()) {
      trial_.ExpectText("the dump", DumpHead(states_.front()),
                        text.substr(0, text.find("  TuningData:")));
    } else {
      states_ = std::move(kept);
    }
  }

  void CheckWrites(const Round& round, const Queues& queues) {
    const std::vector<DspWrite> writes = trial_.recorder().TakeWrites();
    CheckLog(writes);
    OrderSearch search(queues, writes, is_present_);
    for (const EngineModel& state : states_) search.From(state);
    std::vector<EngineModel> ends = search.TakeEnds();
    if (!ends.empty()) {
      states_ = std::move(ends);
      return;
    }
    std::string events;
    std::vector<DspWrite> due;
    EngineModel model = states_.front();
    for (const std::string& step : round.events) {
      events += (events.empty() ? "" : ", ") + step;
      for (const EngineModel::Write* const write : model.Apply(ToRawEvent(step))) {
        if (!is_present_) continue;
        due.push_back({write->bytes,
                       simulator::ParseDspMessages(write->bytes.data(), write->bytes.size()), 0});
      }
    }
    trial_.Fail("after \"" + events + "\" the DSP got:" + WritesText(writes) +
                (round.events.size() > 1 ? "\n  which is due in no order of them; in the given one:"
                                         : "\n  due is:") +
                WritesText(due));
  }

  // One line for each write.
  void CheckLog(const std::vector<DspWrite>& writes) {
    size_t delivered = 0;
    size_t failed = 0;
    for (const std::string& line : trial_.recorder().TakeLines()) {
      if (line.find(": update tuning with size ") != std::string::npos) ++delivered;
      if (line.find(": fail to update tuning.") != std::string::npos) ++failed;
    }
    const auto accepted = static_cast<size_t>(std::count_if(
        writes.begin(), writes.end(), [](const DspWrite& write) { return write.is_accepted(); }));
    trial_.Expect(delivered == accepted, "of " + Count(accepted, "accepted write") +
                                             " the log has " + std::to_string(delivered));
    if (is_present_) {
      trial_.Expect(failed == writes.size() - accepted,
                    "of " + Count(writes.size() - accepted, "refused write") + " the log has " +
                        std::to_string(failed));
    }
  }

  Trial& trial_;
  std::vector<EngineModel> states_;  // those that the module may be in
  std::string table_;                // the end of every dump
  bool is_present_ = true;
};

}  // namespace

int PlayEpisode(const Episode& episode, const TrialSetup& setup, ChildReport& report) {
  Trial trial(setup, report);
  try {
    Player player(episode, trial);
    for (const Round& round : episode.rounds) {
      report.Add(std::string(1, kRoundMark));
      player.Play(round);
      trial.StopIfFailed();
    }
    if (trial.host().handle() != nullptr) trial.Deinit();
    trial.CheckViolations();
  } catch (const TrialOver&) {
    // Its faults have been reported.
  }
  return trial.has_failed() ? 1 : 0;
}

std::optional<Failure> FindFailure(const ChildEnd& end) {
  if (end.how == ChildEnd::How::kReturned && end.result == 0) return std::nullopt;
  Failure failure;
  const auto rounds = std::count(end.report.begin(), end.report.end(), kRoundMark);
  failure.round = rounds == 0 ? 0 : static_cast<size_t>(rounds) - 1;
  for (const char c : end.report) {
    if (c != kRoundMark) failure.text += c == '\0' ? '\n' : c;
  }
  if (end.how == ChildEnd::How::kReturned && end.result == 1) return failure;
  failure.is_hang = end.how == ChildEnd::How::kTimedOut || end.result == kHungResult;
  failure.text += (failure.is_hang ? "the module did not return" : "the module " + end.death) +
                  (end.activity.empty() ? "" : ", last: " + end.activity) + "\n" + end.output;
  return failure;
}

}  // namespace brelmo::tavi::tools
