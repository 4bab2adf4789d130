// What a test of the validator has at hand: the module in a simulated host, and words for what is
// expected of it.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data_folder.h"
#include "loaded_module.h"
#include "process/child_process.h"
#include "simulated_host.h"
#include "trial/recorder.h"

namespace brelmo::tavi::tools {

// ---- What is expected ---------------------------------------------------------------------------

using android::base::ERROR;
using android::base::INFO;
using android::base::WARNING;

// Log lines under the module's three tags.
std::string EntryLog(android::base::LogSeverity severity, const std::string& text);
std::string EngineLog(android::base::LogSeverity severity, const std::string& text);
std::string IndexError(const std::string& text);

Lines operator+(Lines left, const Lines& right);

// A write that the DSP answers with `result`, and the module's line about it.
Lines Delivered(const std::string& function, const std::string& messages, size_t bytes,
                int result = 0);
Lines Status(bool is_active, int result = 0);

// ---- The trial ----------------------------------------------------------------------------------

struct TrialSetup {
  std::string module;
  std::string folder;  // empty and the trial's own; the data files go there
  std::chrono::milliseconds patience;
  // Each fault as it is found.
  std::function<void(const std::string& fault)> on_fault;
};

// Ends a test early: what comes next needs what has failed.
class TrialOver {};

class Trial {
 public:
  Trial(TrialSetup setup, ChildReport& report);
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  ~Trial();

  const TrialSetup& setup() const { return setup_; }
  ChildReport& report() { return report_; }
  simulator::SimulatedHost& host();
  Recorder& recorder() { return recorder_; }
  const simulator::LoadedModule& module();

  // Data files of one bin: "l.txt" with 0.5 - 0.25i and "r.txt" with 2 + 3i are there already.
  void WriteFile(const std::string& name, const std::string& content);
  std::string FilePath(const std::string& name) const;

  // ---- Steps. A module that does not return ends the process. ----

  // Inits and says what came of it.
  simulator::SimulatedHost::InitResult Init(const std::optional<std::string>& config);
  // The same where there has to be a handle; what passed is dropped.
  void Start(const std::string& config);
  void Deinit();
  std::string Dump();
  // An event in the words of a scenario, delivered although the module may not have asked for it.
  simulator::HostEvent ToEvent(const std::string& text) const;
  // Delivers it.
  simulator::HostEvent Deliver(const std::string& text);
  // The same, and gives what came of it, without the handler's own first line, which is checked.
  Lines After(const std::string& event);
  // Starts it and does not wait.
  void Post(const std::string& event);
  void Drain();

  // ---- Checks ----

  void Fail(const std::string& fault);
  // Fails and ends the test.
  [[noreturn]] void Abandon(const std::string& fault);
  void Expect(bool condition, const std::string& fault) {
    if (!condition) Fail(fault);
  }
  void ExpectLines(const std::string& when, const Lines& expected, const Lines& actual);
  void ExpectText(const std::string& when, const std::string& expected, const std::string& actual);
  // `actual` contains it.
  void ExpectPart(const std::string& when, const std::string& expected, const std::string& actual);
  void ExpectAfter(const std::string& event, const Lines& expected) {
    ExpectLines("after \"" + event + "\"", expected, After(event));
  }
  // The contract of the host's interface, since the last call.
  void CheckViolations();
  bool has_failed() const { return has_failed_; }
  // Ends the test if something has failed, for loops that would say the same again and again.
  void StopIfFailed() const {
    if (has_failed_) throw TrialOver();
  }

 private:
  // Notes what the module is asked to do.
  void Note(const std::string& text) { report_.Set(text); }
  [[noreturn]] void EndInHang();

  const TrialSetup setup_;
  ChildReport& report_;
  bool has_failed_ = false;
  Recorder recorder_;
  std::optional<simulator::DataFolder> data_folder_;
  std::unique_ptr<const simulator::LoadedModule> module_;
  std::unique_ptr<simulator::SimulatedHost> host_;
};

// The result of a child whose module did not return.
constexpr int kHungResult = 3;

}  // namespace brelmo::tavi::tools
