// Plays the steps of a scenario on a simulated host, reports what happens and checks what is
// expected.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "capture/capture_file.h"
#include "capture/case_lookup.h"
#include "check/posture_probe.h"
#include "event_thread.h"
#include "log_capture.h"
#include "process/child_process.h"
#include "scenario/run_reporter.h"
#include "scenario/scenario.h"
#include "simulated_host.h"

namespace brelmo::tavi::tools {

// In a child process. What happens is reported on a thread of its own, in the order in which it
// happened: neither a lookup nor a reader who is slow holds up the module.
class ScenarioRunner : private simulator::HostObserver {
 public:
  struct Options {
    std::string config;
    std::string scenario_name;     // for messages: "FILE" of "FILE:LINE: ..."
    std::FILE* capture = nullptr;  // where the bytes of every write go; may be null
    std::chrono::milliseconds patience = std::chrono::seconds(10);  // with one call of the module
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();  // of the run
    CaptureFormat capture_format = CaptureFormat::kBytes;
    // Waits and a slow DSP advance the run's clock, and the run does not wait for them.
    bool is_time_virtual = false;
  };

  // All are borrowed.
  ScenarioRunner(const simulator::LoadedModule& module, const Options& options,
                 RunReporter& reporter, ChildReport& child);
  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;
  ~ScenarioRunner() override;

  // Throws ScenarioError for a step that this configuration can never be played with.
  void CheckStep(const Step& step) const;

  // Plays one step, init before it where it needs one. Throws ScenarioError for a step that cannot
  // be played now. False when the module did not return: nothing more can be played.
  bool Play(const Step& step);
  // Init, if no step needed it, and deinit. False as above.
  bool Finish();
  // Behind this call everything has been reported.
  void ReportTotals();

  // No expectation failed and no violation so far.
  bool is_as_expected() const { return totals_.failures == 0; }
  // The bytes of every write so far went where they were to go.
  bool is_capture_complete() const { return is_capture_complete_; }

 private:
  struct Since {  // the last event, init or deinit
    size_t writes = 0;
    size_t deliveries = 0;  // writes with corrections
    std::vector<std::string> log;
  };
  using Told = std::function<void(RunReporter&)>;

  bool PlayAction(const Step& step, const EventStep& action);
  bool PlayAction(const Step& step, const CallStep& action);
  bool PlayAction(const Step& step, const InitStep& action);
  bool PlayAction(const Step& step, const DeinitStep& action);
  bool PlayAction(const Step& step, const DumpStep& action);
  bool PlayAction(const Step& step, const WaitStep& action);
  bool PlayAction(const Step& step, const SayStep& action);
  bool PlayAction(const Step& step, const DspStep& action);
  bool PlayAction(const Step& step, const RefuseStep& action);
  bool PlayAction(const Step& step, const ExpectStep& action);

  bool Init();
  bool Deinit();
  // What came instead of what was expected: an empty text when the expectation is met, and
  // nullopt when the module hangs.
  std::optional<std::string> Check(const ExpectStep& expectation);
  std::string CheckCase(int number, const std::string& dump) const;
  bool ReportHang(const std::string& call);
  // Notes what is done with the module, and bounds it.
  void Note(const std::string& activity);
  void Report(Told what);
  std::chrono::duration<double> Time() const;  // since the run began
  // Reports the begin of an event, init or deinit.
  void Begin(Told what);
  void WaitForReports();
  // Where the scenario is active and no case fits the posture, says so.
  void ReportNoCase(const simulator::HostEvent& event);
  void ReportWrite(RunReporter& reporter, const simulator::DspWrite& write,
                   std::chrono::microseconds time);

  void OnHostCall(const std::string& call) override;
  void OnWrite(const simulator::DspWrite& write) override;
  void OnViolation(const std::string& text) override;
  void OnLog(const simulator::LogLine& line);

  const Options options_;
  ChildReport& child_;
  const CaseLookup cases_;
  const std::vector<PostureResult> choices_;  // of the module's own engine, in each posture
  Posture posture_;                           // by the events so far
  bool was_active_ = false;                   // the scenario, by the DSP, at the last event

  // Of virtual time.
  std::atomic<std::chrono::microseconds> time_{};
  std::atomic<std::chrono::microseconds> dsp_delay_{};

  std::mutex mutex_;  // for what the host's threads report
  RunTotals totals_;
  Since since_;
  // The corrections that the DSP accepted last.
  std::optional<simulator::DspWrite> accepted_;

  RunReporter& reporter_;  // of the reports' thread
  std::atomic<bool> is_capture_complete_ = true;

  bool was_initialized_ = false;
  simulator::SimulatedHost::InitResult init_result_;
  simulator::EventThread reports_;
  simulator::LogCapture log_capture_;
  simulator::SimulatedHost host_;
};

}  // namespace brelmo::tavi::tools
