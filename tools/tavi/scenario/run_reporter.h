// What a run tells its user, in a form of the user's choice.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "log_capture.h"
#include "simulated_host.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::tools {

// A write to the DSP with the names that the configuration has for it.
struct NamedWrite {
  const simulator::DspWrite& write;
  std::vector<size_t> cases;                    // see CaseLookup::CasesOf
  std::vector<std::vector<std::string>> files;  // for each message, see CaseLookup::FilesOf
};

struct RunTotals {
  size_t events = 0;  // that were delivered
  size_t writes = 0;
  size_t refused_writes = 0;
  size_t expectations = 0;
  size_t failures = 0;  // expectations not met and violations
};

// Called from one thread at a time. Each call puts out what it has at once, in whole lines.
class RunReporter {
 public:
  using Put = std::function<void(const std::string& text)>;

  explicit RunReporter(Put put) : put_(std::move(put)) {}
  RunReporter(const RunReporter&) = delete;
  RunReporter& operator=(const RunReporter&) = delete;
  virtual ~RunReporter() = default;

  // When what comes next has happened, in seconds since the run began.
  void SetTime(double seconds) { seconds_ = seconds; }

  // Begin of a step; what it causes follows.
  virtual void OnInit() = 0;
  virtual void OnDeinit() = 0;
  virtual void OnEvent(const simulator::HostEvent& event) = 0;
  virtual void OnFault(const std::string& step) = 0;  // a fault of the device begins or ends
  virtual void OnSay(const std::string& text) = 0;
  // What a step causes.
  virtual void OnHostCall(const std::string& call) = 0;
  virtual void OnLog(const simulator::LogLine& line) = 0;
  virtual void OnWrite(const NamedWrite& write) = 0;
  // The module sends nothing, for want of a case; the DSP keeps what one of `kept` has, or nothing.
  virtual void OnNoCase(const std::vector<size_t>& kept) = 0;
  virtual void OnInitResult(int result, bool has_handle) = 0;
  virtual void OnNotDelivered(const std::string& reason) = 0;
  virtual void OnDump(const std::string& text) = 0;
  // An expectation that was not met, or the contract broken.
  virtual void OnViolation(const std::string& text) = 0;
  // A line that the module itself wrote to standard output or error.
  virtual void OnPrint(const std::string& line) = 0;
  virtual void OnEnd(const RunTotals& totals) = 0;

 protected:
  double seconds() const { return seconds_; }
  void PutText(const std::string& text) const { put_(text); }

 private:
  const Put put_;
  double seconds_ = 0;
};

// For people; `colour` for a terminal.
std::unique_ptr<RunReporter> MakeTextReporter(bool colour, RunReporter::Put put);
// For programs: one JSON object a line.
std::unique_ptr<RunReporter> MakeJsonReporter(RunReporter::Put put);

// The event as the scenario language writes it.
std::string EventName(const simulator::HostEvent& event);

}  // namespace brelmo::tavi::tools
