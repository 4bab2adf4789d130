#include "scenario/scenario_runner.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "console/wording.h"
#include "process/backtraces.h"

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

// Of a telephone call on the speaker.
constexpr int32_t kCallValue = 5;
constexpr int32_t kCallUsecase = 6;

template <typename T>
constexpr bool kNeedsInit =
    std::is_same_v<T, EventStep> || std::is_same_v<T, CallStep> || std::is_same_v<T, DumpStep> ||
    std::is_same_v<T, DeinitStep> || std::is_same_v<T, ExpectStep>;

// What has been observed and not yet reported. Read when the process dies.
std::atomic<int> unreported = 0;
static_assert(std::atomic<int>::is_always_lock_free);

}  // namespace

ScenarioRunner::ScenarioRunner(const simulator::LoadedModule& module, const Options& options,
                               RunReporter& reporter, ChildReport& child)
    : options_(options),
      child_(child),
      cases_(options.config),
      choices_(ProbePostures(cases_.engine())),
      reporter_(reporter),
      reports_("reports"),
      log_capture_([this](const simulator::LogLine& line) { OnLog(line); }),
      host_(module, *this) {
  host_.SetPatience(options.patience);
  WaitBeforeDeath([] { return unreported == 0; });
}

ScenarioRunner::~ScenarioRunner() { WaitBeforeDeath(nullptr); }

void ScenarioRunner::CheckStep(const Step& step) const {
  const auto* const expect = std::get_if<ExpectStep>(&step.action);
  if (expect == nullptr || expect->what != ExpectStep::What::kCase ||
      static_cast<size_t>(expect->number) < cases_.size()) {
    return;
  }
  throw ScenarioError(step.line,
                      "there is no case " + std::to_string(expect->number) + ": the module takes " +
                          (cases_.size() == 0 ? "no case of this configuration; tavi check says why"
                                              : Count(cases_.size(), "case") +
                                                    " of this configuration, counted from 0"));
}

bool ScenarioRunner::Play(const Step& step) {
  CheckStep(step);
  const bool is_alive = std::visit(
      [&](const auto& action) {
        if (kNeedsInit<std::decay_t<decltype(action)>> && !was_initialized_ && !Init()) {
          return false;
        }
        const std::string activity =
            options_.scenario_name + ":" + std::to_string(step.line) + ": " + step.text;
        if (std::is_same_v<std::decay_t<decltype(action)>, WaitStep>) {
          child_.Set(activity);
        } else {
          Note(activity);
        }
        return PlayAction(step, action);
      },
      step.action);
  WaitForReports();
  return is_alive;
}

void ScenarioRunner::Note(const std::string& activity) {
  // The host's own patience ends first, unless the module keeps this very thread.
  child_.Set(activity, 2 * host_.CallLimit() + options_.patience);
}

std::chrono::duration<double> ScenarioRunner::Time() const {
  if (options_.is_time_virtual) return time_.load();
  return std::chrono::steady_clock::now() - options_.begin;
}

void ScenarioRunner::Report(Told what) {
  const std::chrono::duration<double> time = Time();
  ++unreported;
  reports_.Post([this, time, what = std::move(what)] {
    reporter_.SetTime(time.count());
    what(reporter_);
    --unreported;
  });
}

void ScenarioRunner::WaitForReports() {
  child_.Set("nothing: it was between two steps");
  while (!reports_.Drain(std::chrono::hours(1))) {
  }
  child_.WaitForReader();  // what the module prints is told beside its cause
}

bool ScenarioRunner::Finish() {
  if (!was_initialized_ && !Init()) return false;
  return host_.handle() == nullptr || Deinit();
}

void ScenarioRunner::ReportTotals() {
  Report([totals = totals_](RunReporter& reporter) { reporter.OnEnd(totals); });
  WaitForReports();
}

bool ScenarioRunner::Init() {
  Note("init");
  Begin([](RunReporter& reporter) { reporter.OnInit(); });
  was_initialized_ = true;
  posture_ = {};
  init_result_ = host_.Init(options_.config.c_str());
  if (init_result_.timed_out) return ReportHang("init");
  Report([init = init_result_](RunReporter& reporter) {
    reporter.OnInitResult(init.result, init.has_handle);
  });
  return true;
}

bool ScenarioRunner::Deinit() {
  Note("deinit");
  Begin([](RunReporter& reporter) { reporter.OnDeinit(); });
  return host_.Deinit() || ReportHang("deinit");
}

bool ScenarioRunner::ReportHang(const std::string& call) {
  OnViolation("the module did not return from " + call);
  return false;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const EventStep& action) {
  Begin([event = action.event](RunReporter& reporter) { reporter.OnEvent(event); });
  switch (host_.Deliver(action.event)) {
    case SimulatedHost::Delivery::kDelivered:
      ++totals_.events;
      ReportNoCase(action.event);
      return true;
    case SimulatedHost::Delivery::kTimedOut:
      return ReportHang(EventName(action.event));
    case SimulatedHost::Delivery::kNotRegistered:
      break;
  }
  const char* const reason = action.event.is_raw         ? "the host never got a handler for it"
                             : host_.handle() == nullptr ? "the host has no module"
                                                         : "the module is not registered for it";
  Report([reason](RunReporter& reporter) { reporter.OnNotDelivered(reason); });
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const CallStep& action) {
  using Source = simulator::HostEvent::Source;
  const EventStep value = {{Source::kCommon,
                            action.begins ? simulator::kValueAnnounced : simulator::kValueWithdrawn,
                            kCallValue, false}};
  const EventStep usecase = {
      {Source::kUsecase, action.begins ? simulator::kUsecaseStarted : simulator::kUsecaseStopped,
       kCallUsecase, false}};
  return PlayAction(step, action.begins ? value : usecase) &&
         PlayAction(step, action.begins ? usecase : value);
}

void ScenarioRunner::ReportNoCase(const simulator::HostEvent& event) {
  using Source = simulator::HostEvent::Source;
  const auto is_angle = [](int value) { return value >= 0 && value <= 180; };
  const Posture before = posture_;
  if (event.source == Source::kHingeAngle && event.value && is_angle(*event.value)) {
    posture_.hinge_angle = event.value;
  } else if (event.source == Source::kCommon && event.number == simulator::kScreenRotated) {
    posture_.rotation = event.value.value_or(0);
  }
  const bool is_active = host_.dsp().state().module_active.value_or(false);
  const bool was_active = std::exchange(was_active_, is_active);
  // Nothing else makes the module look for a case.
  const bool has_moved =
      posture_.hinge_angle != before.hinge_angle || posture_.rotation != before.rotation;
  if (!is_active || (was_active && !has_moved)) return;
  const auto here = std::find_if(choices_.begin(), choices_.end(), [this](const auto& choice) {
    return choice.posture.hinge_angle == posture_.hinge_angle &&
           choice.posture.rotation == posture_.rotation;
  });
  if (here == choices_.end() || here->taken) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (since_.deliveries > 0) return;
  std::vector<size_t> kept;
  if (accepted_) kept = cases_.CasesOf(*accepted_);
  Report([kept](RunReporter& reporter) { reporter.OnNoCase(kept); });
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
  Report([text = *dump](RunReporter& reporter) { reporter.OnDump(text); });
  return true;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const WaitStep& action) {
  if (options_.is_time_virtual) {
    time_ = time_.load() + action.time;
  } else {
    std::this_thread::sleep_for(action.time);
  }
  return true;
}

bool ScenarioRunner::PlayAction(const Step& /*step*/, const SayStep& action) {
  Report([text = action.text](RunReporter& reporter) { reporter.OnSay(text); });
  return true;
}

bool ScenarioRunner::PlayAction(const Step& step, const DspStep& action) {
  switch (action.what) {
    case DspStep::What::kRefuse:
      host_.dsp().RefuseNext(action.count, action.code);
      break;
    case DspStep::What::kSlow:
      if (options_.is_time_virtual) {
        dsp_delay_ = action.delay;
      } else {
        host_.dsp().SetDelay(action.delay);
      }
      break;
    case DspStep::What::kAbsent:
      host_.SetTuningEntry(false);
      break;
    case DspStep::What::kPresent:
      host_.SetTuningEntry(true);
      break;
  }
  Report([text = step.text](RunReporter& reporter) { reporter.OnFault(text); });
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
  Report([text = step.text](RunReporter& reporter) { reporter.OnFault(text); });
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

std::string ScenarioRunner::CheckCase(int number, const std::string& dump) const {
  if (!accepted_) return "the DSP has accepted no corrections yet";
  const std::vector<size_t> accepted = cases_.CasesOf(*accepted_);
  if (accepted.empty()) return "those that the DSP accepted last are of no case";
  const std::vector<size_t> cases = cases_.Narrow(accepted, dump);
  if (std::find(cases.begin(), cases.end(), static_cast<size_t>(number)) != cases.end()) return "";
  return "those that the DSP accepted last are of " + DescribeCases(cases);
}

void ScenarioRunner::Begin(Told what) {
  const std::lock_guard<std::mutex> lock(mutex_);
  since_ = {};
  Report(std::move(what));
}

void ScenarioRunner::OnHostCall(const std::string& call) {
  Report([call](RunReporter& reporter) { reporter.OnHostCall(call); });
}

void ScenarioRunner::OnWrite(const simulator::DspWrite& write) {
  const std::lock_guard<std::mutex> lock(mutex_);
  time_ = time_.load() + dsp_delay_.load();
  ++totals_.writes;
  ++since_.writes;
  if (write.has_response()) ++since_.deliveries;
  if (!write.is_accepted()) ++totals_.refused_writes;
  if (write.is_accepted() && write.has_response()) accepted_ = write;
  // Behind the module's back: its lock is held here.
  const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Time());
  Report([this, write, time](RunReporter& reporter) { ReportWrite(reporter, write, time); });
}

void ScenarioRunner::ReportWrite(RunReporter& reporter, const simulator::DspWrite& write,
                                 std::chrono::microseconds time) {
  NamedWrite named = {write, cases_.CasesOf(write), {}};
  for (const auto& message : write.parsed.messages) {
    named.files.push_back(cases_.FilesOf(message));
  }
  const std::string captured = CaptureBytes(write, options_.capture_format, time);
  if (options_.capture != nullptr &&
      (std::fwrite(captured.data(), 1, captured.size(), options_.capture) != captured.size() ||
       std::fflush(options_.capture) != 0)) {
    is_capture_complete_ = false;
  }
  reporter.OnWrite(named);
}

void ScenarioRunner::OnViolation(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++totals_.failures;
  Report([text](RunReporter& reporter) { reporter.OnViolation(text); });
}

void ScenarioRunner::OnLog(const simulator::LogLine& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  since_.log.push_back(line.text);
  Report([line](RunReporter& reporter) { reporter.OnLog(line); });
}

}  // namespace brelmo::tavi::tools
