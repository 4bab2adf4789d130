// The loaded module in a simulated host, and a record of what passes between the two.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_recorder.h"
#include "module_path.h"
#include "simulated_host.h"
#include "temporary_folder.h"
#include "trial/recorder.h"

namespace brelmo::tavi::test {

using simulator::HostEvent;
using simulator::SimulatedHost;
using Delivery = SimulatedHost::Delivery;
using tools::InFixedOrder;
using tools::Lines;
using tools::Recorder;

constexpr std::chrono::seconds kLongTime{20};

inline std::string EntryLog(android::base::LogSeverity severity, const std::string& text) {
  return LogText(severity, "audio_hw_compensation", text);
}
inline std::string EntryInfo(const std::string& text) {
  return EntryLog(android::base::INFO, text);
}

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
  void TearDown() override { EXPECT_THAT(recorder_.TakeViolations(), testing::IsEmpty()); }

  // Inits without looking at what happens.
  void Init(const std::string& config) {
    ASSERT_TRUE(host_.Init(config.c_str()).has_handle)
        << testing::PrintToString(recorder_.TakeLines());
    recorder_.TakeLines();
  }

  // What follows of an event, without the handler's own line about it, which is checked here.
  Lines After(const HostEvent& event) {
    EXPECT_EQ(host_.Deliver(event), Delivery::kDelivered);
    Lines lines = recorder_.TakeLines();
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
  Recorder recorder_;
  SimulatedHost host_{Module(), recorder_};
};

}  // namespace brelmo::tavi::test
