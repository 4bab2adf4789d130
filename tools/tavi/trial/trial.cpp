#include "trial/trial.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "console/wording.h"
#include "process/backtraces.h"
#include "process/scratch_folder.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::HostEvent;
using simulator::SimulatedHost;

constexpr const char* kEntryTag = "audio_hw_compensation";
constexpr const char* kEngineTag = "audio_hw_telephony_speaker_compensation";
constexpr const char* kIndexTag = "AHal::CompensationIndex";

// Lines as they were expected and came, with a sign before each that is in one of the two only.
std::string Difference(const Lines& expected, const Lines& actual) {
  // Length of the longest common subsequence of what is left of both.
  std::vector<std::vector<size_t>> common(expected.size() + 1,
                                          std::vector<size_t>(actual.size() + 1, 0));
  for (size_t i = expected.size(); i-- > 0;) {
    for (size_t j = actual.size(); j-- > 0;) {
      common[i][j] = expected[i] == actual[j] ? common[i + 1][j + 1] + 1
                                              : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::string text;
  const auto put = [&text](const char* sign, const std::string& line) {
    text += "\n    " + std::string(sign) + " " + Printable(line);
  };
  size_t i = 0;
  size_t j = 0;
  while (i < expected.size() || j < actual.size()) {
    if (i < expected.size() && j < actual.size() && expected[i] == actual[j]) {
      put("         ", expected[i++]);
      ++j;
    } else if (j == actual.size() ||
               (i < expected.size() && common[i + 1][j] >= common[i][j + 1])) {
      put("missing  ", expected[i++]);
    } else {
      put("not due  ", actual[j++]);
    }
  }
  return text;
}

Lines SplitLines(const std::string& text) {
  Lines lines = {""};
  for (const char c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

}  // namespace

std::string EntryLog(android::base::LogSeverity severity, const std::string& text) {
  return LogText(severity, kEntryTag, text);
}
std::string EngineLog(android::base::LogSeverity severity, const std::string& text) {
  return LogText(severity, kEngineTag, text);
}
std::string IndexError(const std::string& text) { return LogText(ERROR, kIndexTag, text); }

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Lines Delivered(const std::string& function, const std::string& messages, size_t bytes,
                int result) {
  return {"write " + messages + " = " + std::to_string(result),
          result == 0
              ? EngineLog(INFO, function + ": update tuning with size " + std::to_string(bytes))
              : EngineLog(ERROR, function + ": fail to update tuning.")};
}

Lines Status(bool is_active, int result) {
  return Delivered("UpdateModuleStatus", is_active ? "status 1" : "status 0", 12, result);
}

Trial::Trial(TrialSetup setup, ChildReport& report)
    : setup_(std::move(setup)), report_(report), data_folder_(std::in_place, setup_.folder) {
  // Memory that was freed or never set holds other bytes than 0, so that reading it shows.
  mallopt(M_PERTURB, 0xA5);
  WriteFile("l.txt", "0.5,-0.25\n");
  WriteFile("r.txt", "2,3\n");
}

Trial::~Trial() = default;

const simulator::LoadedModule& Trial::module() {
  if (module_ == nullptr) {
    report_.Set("loading the module", setup_.patience);
    module_ = std::make_unique<simulator::LoadedModule>(setup_.module);
  }
  return *module_;
}

SimulatedHost& Trial::host() {
  if (host_ == nullptr) {
    host_ = std::make_unique<SimulatedHost>(module(), recorder_);
    host_->SetPatience(setup_.patience);
  }
  return *host_;
}

void Trial::WriteFile(const std::string& name, const std::string& content) {
  ScratchFolder::WriteFileIn(setup_.folder, name, content);
}

std::string Trial::FilePath(const std::string& name) const { return setup_.folder + "/" + name; }

SimulatedHost::InitResult Trial::Init(const std::optional<std::string>& config) {
  SimulatedHost& simulated = host();
  Note("init with " + (config ? Quote(*config) : "a null text"));
  const auto init = simulated.Init(config ? config->c_str() : nullptr);
  if (init.timed_out) EndInHang();
  return init;
}

void Trial::Start(const std::string& config) {
  if (!Init(config).has_handle) {
    std::string text = "init handed out no handle for " + Quote(config);
    for (const std::string& line : recorder_.TakeLines()) text += "\n    " + Printable(line);
    Abandon(text);
  }
  recorder_.TakeLines();
}

void Trial::Deinit() {
  SimulatedHost& simulated = host();  // first: it notes the loading
  Note("deinit");
  if (!simulated.Deinit()) EndInHang();
}

std::string Trial::Dump() {
  SimulatedHost& simulated = host();
  Note("dump");
  const auto dump = simulated.Dump();
  if (!dump) EndInHang();
  return *dump;
}

HostEvent Trial::ToEvent(const std::string& text) const {
  const auto step = ParseStep(text, 0);
  HostEvent event = std::get<EventStep>(step.value().action).event;
  event.is_raw = true;
  return event;
}

HostEvent Trial::Deliver(const std::string& text) {
  const HostEvent event = ToEvent(text);
  SimulatedHost& simulated = host();
  Note(text);
  switch (simulated.Deliver(event)) {
    case SimulatedHost::Delivery::kDelivered:
      break;
    case SimulatedHost::Delivery::kNotRegistered:
      Abandon("\"" + text + "\": the host never got a handler for it");
    case SimulatedHost::Delivery::kTimedOut:
      EndInHang();
  }
  return event;
}

Lines Trial::After(const std::string& text) {
  const HostEvent event = Deliver(text);
  Lines lines = recorder_.TakeLines();
  if (event.source == HostEvent::Source::kHingeAngle) return lines;
  const std::string kind = event.source == HostEvent::Source::kCommon ? "common" : "use case";
  const std::string own = EntryLog(
      INFO, std::string(kEntryTag) + ": " + kind + " event " + std::to_string(event.number));
  if (!lines.empty() && lines.front() == own) {
    lines.erase(lines.begin());
  } else {
    ExpectLines("the first line of \"" + text + "\"", {own},
                lines.empty() ? Lines() : Lines{lines.front()});
  }
  return lines;
}

void Trial::Post(const std::string& text) {
  SimulatedHost& simulated = host();
  Note(text + ", while the events before it may be under way");
  if (simulated.Post(ToEvent(text)) != SimulatedHost::Delivery::kDelivered) {
    Abandon("\"" + text + "\": the host never got a handler for it");
  }
}

void Trial::Drain() {
  if (!host().Drain()) EndInHang();
}

void Trial::Fail(const std::string& fault) {
  has_failed_ = true;
  setup_.on_fault(fault);
}

void Trial::Abandon(const std::string& fault) {
  Fail(fault);
  throw TrialOver();
}

void Trial::ExpectLines(const std::string& when, const Lines& expected, const Lines& actual) {
  if (expected != actual) Fail(when + ":" + Difference(expected, actual));
}

void Trial::ExpectText(const std::string& when, const std::string& expected,
                       const std::string& actual) {
  if (expected != actual) ExpectLines(when, SplitLines(expected), SplitLines(actual));
}

void Trial::ExpectPart(const std::string& when, const std::string& expected,
                       const std::string& actual) {
  if (actual.find(expected) != std::string::npos) return;
  std::string text = when + ": " + Quote(expected) + " is not in";
  for (const std::string& line : SplitLines(actual)) text += "\n    " + Printable(line);
  Fail(text);
}

void Trial::CheckViolations() {
  std::vector<std::pair<std::string, size_t>> counts;  // in the order of their coming
  for (std::string& text : recorder_.TakeViolations()) {
    const auto at = std::find_if(counts.begin(), counts.end(),
                                 [&text](const auto& one) { return one.first == text; });
    if (at != counts.end()) {
      ++at->second;
    } else {
      counts.emplace_back(std::move(text), 1);
    }
  }
  for (const auto& [text, count] : counts) {
    Fail("the host's contract is broken: " + text +
         (count > 1 ? " (" + Count(count, "time") + ")" : ""));
  }
}

void Trial::EndInHang() {
  CheckViolations();
  WriteBacktraces();
  report_.Finish(kHungResult);
  std::_Exit(kHungResult);
}

}  // namespace brelmo::tavi::tools
