// What passes between a module and its host, a line each, in the order in which it happens.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "host_event.h"
#include "host_observer.h"
#include "log_capture.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::tools {

using Lines = std::vector<std::string>;

// "log ERROR [tag] text".
std::string LogText(android::base::LogSeverity severity, const std::string& tag,
                    const std::string& text);

// "write status 1 = 0", see Recorder::TakeLines.
std::string WriteText(const simulator::DspWrite& write);

// The two conditions of a case and its two outputs have no order. Brings what lists them on one
// line into one: the hinge angle before the rotation, left before right.
std::string InFixedOrder(const std::string& line);

// Thread-safe.
class Recorder final : public simulator::HostObserver {
 public:
  Recorder();

  // Each gives what came since the last call of it.
  //   "call audio_hal_calloc(32)", a host function with the arguments and the result
  //   "log ...", see LogText
  //   "write status 1 = 0" or "write left(1 0) right(257 bins) = -5", with the DSP's answer: one
  //   bin is spelt out
  Lines TakeLines();
  std::vector<simulator::DspWrite> TakeWrites();
  Lines TakeViolations();

  // The DSP keeps the next write, and all that come meanwhile, until ReleaseWrites.
  void HoldWrites();
  void ReleaseWrites();
  // Whether a write is held, at the latest when `time` has passed.
  bool WaitForHeldWrite(std::chrono::milliseconds time);

  // Events that the module has returned from.
  size_t ended_events() const { return ended_events_; }

  // errno is set before each event and by the logger; an event that leaves another value is a
  // violation.
  void WatchErrno() { watches_errno_ = true; }

  void OnEventBegin(const simulator::HostEvent& event) override;
  void OnEventEnd(const simulator::HostEvent& event) override;
  void OnHostCall(const std::string& call) override;
  void OnWrite(const simulator::DspWrite& write) override;
  void OnViolation(const std::string& text) override;

 private:
  void Append(const std::string& line);

  std::mutex mutex_;
  std::condition_variable changed_;
  Lines lines_;
  std::vector<simulator::DspWrite> writes_;
  Lines violations_;
  bool is_holding_ = false;
  int held_ = 0;
  std::atomic<size_t> ended_events_ = 0;
  std::atomic<bool> watches_errno_ = false;
  simulator::LogCapture capture_;
};

}  // namespace brelmo::tavi::tools
