#include "scenario/scenario_runner.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::SimulatedHost;

std::string DescribeCases(const std::vector<size_t>& cases) {
  std::string text;
  for (const size_t number : cases) {
    text += text.empty() ? "case " : " or ";
    text += std::to_string(number);
  }
  return text;
}

template <typename T>
constexpr bool kNeedsInit = std::is_same_v<T, EventStep> || std::is_same_v<T, DumpStep> ||
                            std::is_same_v<T, DeinitStep> || std::is_same_v<T, ExpectStep>;

}  // namespace

ScenarioRunner::ScenarioRunner(const simulator::LoadedModule& module, const Options& options,
                               RunReporter& reporter, Activity& activity)
    : options_(options),
      activity_(activity),
      cases_(options.config),
      reporter_(reporter),
      log_capture_([this](const simulator::LogLine& line) { OnLog(line); }),
      host_(module, *this) {}

bool ScenarioRunner::Play(const Step& step) {
  return std::visit(
      [&](const auto& action) {
        if (kNeedsInit<std::decay_t<decltype(action)>> && !was_initialized_ && !Init()) {
          return false;
        }
        activity_.Set(options_.scenario_name + ":" + std::to_string(step.line) + ": " + step.text);
        const bool is_alive = PlayAction(step, action);
        activity_.Set("nothing: it was between two steps");
        return is_alive;
      },
      step.action);
}

bool ScenarioRunner::Finish() {
  if (!was_initialized_ && !Init()) return false;
  return host_.handle() == nullptr || Deinit();
}

void ScenarioRunner::ReportTotals() {
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnEnd(totals_);
}

bool ScenarioRunner::Init() {
  activity_.Set("init");
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    reporter_.OnInit();
    since_ = {};
  }
  was_initialized_ = true;
  init_result_ = host_.Init(options_.config.c_str());
  if (init_result_.timed_out) return ReportHang("init");
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnInitResult(init_result_.result, init_result_.has_handle);
  return true;
}

bool ScenarioRunner::Deinit() {
  activity_.Set("deinit");
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    reporter_.OnDeinit();
    since_ = {};
  }
  return host_.Deinit() || ReportHang("deinit");
}

bool ScenarioRunner::ReportHang(const std::string& call) {
  OnViolation("the module did not return from " + call);
  return false;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const EventStep& action) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    since_ = {};
    reporter_.OnEvent(action.event);
  }
  switch (host_.Deliver(action.event)) {
    case SimulatedHost::Delivery::kDelivered:
      ++totals_.events;
      return true;
    case SimulatedHost::Delivery::kTimedOut:
      return ReportHang(EventName(action.event));
    case SimulatedHost::Delivery::kNotRegistered:
      break;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnNotDelivered(action.event.is_raw         ? "the host never got a handler for it"
                           : host_.handle() == nullptr ? "the host has no module"
                                                       : "the module is not registered for it");
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const InitStep& /*action*/) {
  if (host_.handle() != nullptr)
    throw ScenarioError(step.line, "the module is initialised already");
  return Init();
}

bool ScenarioRunner::PlayAction(const Step& step, const DeinitStep& /*action*/) {
  if (host_.handle() == nullptr) {
    throw ScenarioError(step.line, "there is no context that deinit could be given");
  }
  return Deinit();
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const DumpStep& /*action*/) {
  const auto dump = host_.Dump();
  if (!dump) return ReportHang("dump");
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnDump(*dump);
  return true;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const WaitStep& action) {
  std::this_thread::sleep_for(action.time);
  return true;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const SayStep& action) {
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnSay(action.text);
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const DspStep& action) {
  switch (action.what) {
    case DspStep::What::kRefuse:
      host_.dsp().RefuseNext(action.count, action.code);
      break;
    case DspStep::What::kSlow:
      host_.dsp().SetDelay(action.delay);
      break;
    case DspStep::What::kAbsent:
      host_.SetTuningEntry(false);
      break;
    case DspStep::What::kPresent:
      host_.SetTuningEntry(true);
      break;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnFault(step.text);
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const RefuseStep& action) {
  if (host_.handle() != nullptr) {
    throw ScenarioError(step.line,
                        "the module is initialised already; refuse something before "
                        "the first event or behind a deinit");
  }
  switch (action.what) {
    case RefuseStep::What::kMemory:
      host_.RefuseMemory();
      break;
    case RefuseStep::What::kCommonClient:
      host_.RefuseCommonClient(action.code);
      break;
    case RefuseStep::What::kUsecaseClient:
      host_.RefuseUsecaseClient(action.code);
      break;
    case RefuseStep::What::kSensor:
      host_.RefuseHingeAngle(action.code);
      break;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnFault(step.text);
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const ExpectStep& action) {
  const auto fault = Check(action);
  if (!fault) return ReportHang("dump");
  ++totals_.expectations;
  if (!fault->empty()) {
    OnViolation(options_.scenario_name + ":" + std::to_string(step.line) + ": " + step.text + ": " +
                *fault);
  }
  return true;
}

std::optional<std::string> ScenarioRunner::Check(const ExpectStep& expectation) {
  std::string dump;
  if (expectation.what == ExpectStep::What::kCase) {
    // Cases that play the same files: the module itself says which one it took.
    auto text = host_.Dump();
    if (!text) return std::nullopt;
    dump = std::move(*text);
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string writes = "the last event made " + Count(since_.writes, "write");
  switch (expectation.what) {
    case ExpectStep::What::kWrite:
      return since_.writes > 0 ? "" : writes;
    case ExpectStep::What::kNoWrite:
      return since_.writes == 0 ? "" : writes;
    case ExpectStep::What::kWriteCount:
      return since_.writes == static_cast<size_t>(expectation.number) ? "" : writes;
    case ExpectStep::What::kCase:
      return CheckCase(expectation.number, dump);
    case ExpectStep::What::kStatus: {
      const std::optional<bool> active = host_.dsp().state().module_active;
      if (!active) return "the DSP was never sent a status";
      return *active == (expectation.number == 1) ? "" : *active ? "it is 1" : "it is 0";
    }
    case ExpectStep::What::kLog: {
      const bool is_logged = std::any_of(since_.log.begin(), since_.log.end(),
                                         [&expectation](const std::string& line) {
                                           return line.find(expectation.text) != std::string::npos;
                                         });
      return is_logged ? "" : "no line logged during the last event contains that";
    }
    case ExpectStep::What::kInit:
      return init_result_.result == expectation.number
                 ? ""
                 : "it returned " + std::to_string(init_result_.result);
    case ExpectStep::What::kNoHandle:
      break;
  }
  return init_result_.has_handle ? "init handed out a context" : "";
}

std::string ScenarioRunner::CheckCase(int number, const std::string& dump) {
  if (!accepted_cases_) return "the DSP has accepted no corrections yet";
  if (accepted_cases_->empty()) return "those that the DSP accepted last are of no case";
  const std::vector<size_t> cases = cases_.Narrow(*accepted_cases_, dump);
  if (std::find(cases.begin(), cases.end(), static_cast<size_t>(number)) != cases.end()) return "";
  return "those that the DSP accepted last are of " + DescribeCases(cases);
}

void ScenarioRunner::OnHostCall(const std::string& call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  reporter_.OnHostCall(call);
}

void ScenarioRunner::OnWrite(const simulator::DspWrite& write) {
  NamedWrite named = {write, cases_.CasesOf(write), {}};
  for (const auto& message : write.parsed.messages) {
    named.files.push_back(cases_.FilesOf(message));
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  ++totals_.writes;
  ++since_.writes;
  if (!write.is_accepted()) ++totals_.refused_writes;
  if (write.is_accepted() && write.has_response()) {
    accepted_cases_ = named.cases;
  }
  if (options_.capture != nullptr && (std::fwrite(write.bytes.data(), 1, write.bytes.size(),
                                                  options_.capture) != write.bytes.size() ||
                                      std::fflush(options_.capture) != 0)) {
    is_capture_complete_ = false;
  }
  reporter_.OnWrite(named);
}

void ScenarioRunner::OnViolation(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++totals_.failures;
  reporter_.OnViolation(text);
}

void ScenarioRunner::OnLog(const simulator::LogLine& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  since_.log.push_back(line.text);
  reporter_.OnLog(line);
}

}  // namespace brelmo::tavi::tools
