// The loaded module in a simulated host, and a transcript of what passes between the two.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_recorder.h"
#include "module_path.h"
#include "simulated_host.h"
#include "temporary_folder.h"

namespace brelmo::tavi::test {

using simulator::HostEvent;
using simulator::SimulatedHost;
using Delivery = SimulatedHost::Delivery;
using Lines = std::vector<std::string>;

constexpr std::chrono::seconds kLongTime{20};

inline std::string EntryLog(android::base::LogSeverity severity, const std::string& text) {
  return LogText(severity, "audio_hw_compensation", text);
}
inline std::string EntryInfo(const std::string& text) {
  return EntryLog(android::base::INFO, text);
}

// The two conditions of a case have no order, nor have its two outputs; the texts that list them
// are compared as if they had.
inline std::string InFixedOrder(const std::string& text) {
  static const std::regex keys(R"((Name : ScreenRotation, Supported Index: \{[^}]*\} ))"
                               R"((Name : HingeAngle, Supported Index: \{[^}]*\} ))");
  return std::regex_replace(text, keys, "$2$1");
}

// "write status 1 = 0" or "write L(1 0) R(257 bins) = -5": result behind the equals sign.
inline std::string WriteText(const simulator::DspWrite& write) {
  Lines messages;
  for (const auto& message : write.parsed.messages) {
    std::ostringstream text;
    if (!message.is_response()) {
      text << "status " << message.is_active();
    } else {
      text << (message.type == simulator::kLeftMessage ? "L(" : "R(");
      if (const auto response = message.Response(); response.size() == 2) {
        text << response[0] << " " << response[1] << ")";
      } else {
        text << message.bin_count() << " bins)";
      }
    }
    messages.push_back(text.str());
  }
  std::sort(messages.begin(), messages.end());
  std::string text = "write";
  for (const auto& message : messages) text += " " + message;
  return text + " = " + std::to_string(write.result);
}

// Log lines, host calls and writes in the order in which they happened. Thread-safe.
class Transcript final : public simulator::HostObserver {
 public:
  // Since the last call.
  Lines Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Lines lines = std::exchange(lines_, {});
    for (std::string& line : lines) line = InFixedOrder(line);
    return lines;
  }
  std::vector<simulator::DspWrite> TakeWrites() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(writes_, {});
  }
  Lines TakeViolations() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(violations_, {});
  }

  // Makes the DSP keep every write from now on until ReleaseWrites.
  void HoldWrites() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_holding_ = true;
  }
  void ReleaseWrites() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_holding_ = false;
    changed_.notify_all();
  }
  bool WaitForHeldWrite() {
    return WaitFor([this] { return held_ > 0; });
  }
  bool WaitForViolation() {
    return WaitFor([this] { return !violations_.empty(); });
  }

  void OnHostCall(const std::string& call) override { Append("call " + call); }
  void OnWrite(const simulator::DspWrite& write) override {
    Append(WriteText(write));
    std::unique_lock<std::mutex> lock(mutex_);
    writes_.push_back(write);
    ++held_;
    changed_.notify_all();
    changed_.wait_for(lock, kLongTime, [this] { return !is_holding_; });
    --held_;
  }
  void OnViolation(const std::string& text) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    violations_.push_back(text);
    changed_.notify_all();
  }

 private:
  void Append(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
  }
  template <typename Condition>
  bool WaitFor(Condition condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kLongTime, condition);
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  Lines lines_;
  std::vector<simulator::DspWrite> writes_;
  Lines violations_;
  bool is_holding_ = false;
  int held_ = 0;
  simulator::LogCapture capture_{[this](const simulator::LogLine& line) {
    Append(LogText(line.severity, line.tag, line.text));
  }};
};

// ---- Events -------------------------------------------------------------------------------------

inline HostEvent Common(int number, std::optional<int32_t> value) {
  return {HostEvent::Source::kCommon, number, value};
}
inline HostEvent Announce(int value) { return Common(simulator::kValueAnnounced, value); }
inline HostEvent Withdraw(int value) { return Common(simulator::kValueWithdrawn, value); }
inline HostEvent Rotate(int degrees) { return Common(simulator::kScreenRotated, degrees); }
inline HostEvent Usecase(int number, std::optional<int32_t> value) {
  return {HostEvent::Source::kUsecase, number, value};
}
inline HostEvent Start(int usecase) { return Usecase(simulator::kUsecaseStarted, usecase); }
inline HostEvent Stop(int usecase) { return Usecase(simulator::kUsecaseStopped, usecase); }
inline HostEvent Hinge(int degrees) { return {HostEvent::Source::kHingeAngle, 0, degrees}; }
inline HostEvent Raw(HostEvent event) {
  event.is_raw = true;
  return event;
}

// ---- What is expected of them -------------------------------------------------------------------

inline Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// A write that the DSP answers with `result`, and the module's line about it.
inline Lines Delivered(const std::string& function, const std::string& messages, int size,
                       int result = 0) {
  return {"write " + messages + " = " + std::to_string(result),
          result == 0 ? EngineInfo(function + ": update tuning with size " + std::to_string(size))
                      : EngineError(function + ": fail to update tuning.")};
}
inline Lines Status(bool active, int result = 0) {
  return Delivered("UpdateModuleStatus", active ? "status 1" : "status 0", 12, result);
}

// ---- The fixture --------------------------------------------------------------------------------

// A host with the module loaded and a data folder with l.txt and r.txt, one bin each.
class ContractTest : public testing::Test {
 protected:
  static const simulator::LoadedModule& Module() {
    static const simulator::LoadedModule module(ModulePath());
    return module;
  }

  ContractTest() {
    folder_.Write("l.txt", "0.5,-0.25\n");
    folder_.Write("r.txt", "2,3\n");
  }
  void TearDown() override { EXPECT_THAT(transcript_.TakeViolations(), testing::IsEmpty()); }

  // Inits without looking at what happens.
  void Init(const std::string& config) {
    ASSERT_TRUE(host_.Init(config.c_str()).has_handle)
        << testing::PrintToString(transcript_.Take());
    transcript_.Take();
  }

  // What follows of an event, without the handler's own line about it, which is checked here.
  Lines After(const HostEvent& event) {
    EXPECT_EQ(host_.Deliver(event), Delivery::kDelivered);
    Lines lines = transcript_.Take();
    if (event.source == HostEvent::Source::kHingeAngle) return lines;
    const std::string kind = event.source == HostEvent::Source::kCommon ? "common" : "use case";
    const std::string own =
        EntryInfo("audio_hw_compensation: " + kind + " event " + std::to_string(event.number));
    if (lines.empty() || lines.front() != own) {
      ADD_FAILURE() << "expected first: " << own;
    } else {
      lines.erase(lines.begin());
    }
    return lines;
  }

  TemporaryFolder folder_;
  simulator::DataFolder data_folder_{folder_.path()};
  Transcript transcript_;
  SimulatedHost host_{Module(), transcript_};
};

}  // namespace brelmo::tavi::test
