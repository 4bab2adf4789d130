// Plays the steps of a scenario on a simulated host, reports what happens and checks what is
// expected.
#pragma once

#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "capture/case_lookup.h"
#include "log_capture.h"
#include "process/supervisor.h"
#include "scenario/run_reporter.h"
#include "scenario/scenario.h"
#include "simulated_host.h"

namespace brelmo::tavi::tools {

class ScenarioRunner : private simulator::HostObserver {
 public:
  struct Options {
    std::string config;
    std::string scenario_name;     // for messages: "FILE" of "FILE:LINE: ..."
    std::FILE* capture = nullptr;  // where the bytes of every write go; may be null
  };

  // All are borrowed.
  ScenarioRunner(const simulator::LoadedModule& module, const Options& options,
                 RunReporter& reporter, Activity& activity);

  // Plays one step, init before it where it needs one. Throws ScenarioError for a step that cannot
  // be played now. False when the module did not return: nothing more can be played.
  bool Play(const Step& step);
  // Init, if no step needed it, and deinit. False as above.
  bool Finish();
  void ReportTotals();

  // No expectation failed and no violation so far.
  bool is_as_expected() const { return totals_.failures == 0; }
  // The bytes of every write so far went where they were to go.
  bool is_capture_complete() const { return is_capture_complete_; }

 private:
  struct Since {  // the last event, init or deinit
    size_t writes = 0;
    std::vector<std::string> log;
  };

  bool PlayAction(const Step& step, const EventStep& action);
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
  // Why the expectation is not met; empty when it is. None when the module did not return.
  std::optional<std::string> Check(const ExpectStep& expectation);
  std::string CheckCase(int number, const std::string& dump);
  bool ReportHang(const std::string& call);

  void OnHostCall(const std::string& call) override;
  void OnWrite(const simulator::DspWrite& write) override;
  void OnViolation(const std::string& text) override;
  void OnLog(const simulator::LogLine& line);

  const Options options_;
  Activity& activity_;
  const CaseTable cases_;

  std::mutex mutex_;  // for what the host's threads report
  RunReporter& reporter_;
  RunTotals totals_;
  Since since_;
  // Those whose corrections the DSP accepted last; none before the first.
  std::optional<std::vector<size_t>> accepted_cases_;
  bool is_capture_complete_ = true;

  bool was_initialized_ = false;
  simulator::SimulatedHost::InitResult init_result_;
  simulator::LogCapture log_capture_;
  simulator::SimulatedHost host_;
};

}  // namespace brelmo::tavi::tools
