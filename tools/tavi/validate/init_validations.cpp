// Every outcome of init and deinit, with the host calls and log lines on the way, in their order.
#include <cstring>

#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "log_capture.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::SimulatedHost;

constexpr const char* kHinge = "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt";
constexpr const char* kRotation = "ScreenRotation:0|LeftChannel:l.txt|RightChannel:r.txt";

// ---- What passes --------------------------------------------------------------------------------

const Lines kAllocated = {"call audio_hal_calloc(32)"};
const Lines kDone = {EntryLog(INFO, "compensation_init: initialize successfully")};
const Lines kFreedNull = {"call audio_hal_free(null)"};
const Lines kFreedPreset = {"call audio_hal_free(what the handle held)"};
const Lines kFreedContext = {"call audio_hal_free(context)"};
const Lines kCommonFreed = {"call event_free_common_event_client()"};
const Lines kUsecaseFreed = {"call event_free_usecase_event_client()"};
const Lines kDeregistered = {"call sensor_deregisterHingeAngleSensorCallback(client 0x54534350)"};

Lines Common(int result) {
  return {"call event_allocate_common_event_client(events {8, 2, 4}, option 5) = " +
          std::to_string(result)};
}
Lines Usecase(int result) {
  return {
      "call event_allocate_usecase_event_client(use cases {6, 23, 24}, events {21, 22}, option 5) "
      "= " +
      std::to_string(result)};
}
Lines Sensor(int result) {
  return {"call sensor_registerHingeAngleSensorCallback(client 0x54534350) = " +
          std::to_string(result)};
}
Lines CommonRefused(int code) {
  return Common(code) +
         Lines{EntryLog(WARNING, "Initialize: Failed to register common event handler(" +
                                     std::to_string(code) + ")"),
               EntryLog(ERROR, "compensation_init: failed to initialize events listeners")};
}
Lines SensorRefused(int code) {
  return Sensor(code) + Lines{EntryLog(ERROR, "compensation_init: failed to register hinge angle")};
}
Lines InvalidParameters(const std::string& config) {
  return {EntryLog(ERROR, "compensation_init: invalid parameters " + config)};
}
Lines Malformed(const std::string& item) {
  return {EngineLog(WARNING, "GetConfiginvalid name and value " + item)};
}

// ---- Init ---------------------------------------------------------------------------------------

struct InitRow {
  const char* name;
  const char* holds;
  std::string config;
  void (*refuse)(SimulatedHost& host);  // may be null
  int result;
  bool has_handle;
  bool leaves_handle_alone;  // what the handle held stays in it
  Lines expected;            // `freed` in it is what the handle held
};

const Lines kFreedHandle = {"freed"};

Lines Fill(const Lines& expected, const Lines& freed) {
  Lines lines;
  for (const std::string& line : expected) {
    lines = lines + (line == kFreedHandle[0] ? freed : Lines{line});
  }
  return lines;
}

const std::vector<InitRow>& InitRows() {
  static const std::string kLong = "bad " + std::string(3000, 'x');
  static const std::vector<InitRow> rows = {
      {"init.hinge-angle",
       "With a hinge condition init allocates the context, both clients and the sensor, in this "
       "order.",
       kHinge, nullptr, 0, true, false, kAllocated + Common(0) + Usecase(0) + Sensor(0) + kDone},
      {"init.hinge-angle-in-a-later-case", "A hinge condition in any case calls for the sensor.",
       std::string(kRotation) + " " + kHinge, nullptr, 0, true, false,
       kAllocated + Common(0) + Usecase(0) + Sensor(0) + kDone},
      {"init.no-hinge-angle", "Without a hinge condition the sensor is left alone.", kRotation,
       nullptr, 0, true, false, kAllocated + Common(0) + Usecase(0) + kDone},
      {"init.rejected-config",
       "A configuration that is refused part of the way is a success; the refused case still calls "
       "for the sensor.",
       "ScreenRotation:0|LeftChannel:l.txt HingeAngle:0,90", nullptr, 0, true, false,
       kAllocated + Lines{EngineLog(ERROR, "ParseConfig: output RightChannel is missed.")} +
           Common(0) + Usecase(0) + Sensor(0) + kDone},
      {"init.malformed-later-item",
       "The text is read twice: a malformed item behind a good case is warned of twice, and init "
       "succeeds.",
       std::string(kHinge) + " bad|HingeAngle:1,2", nullptr, 0, true, false,
       kAllocated + Malformed("bad") + Malformed("bad") + Common(0) + Usecase(0) + Sensor(0) +
           kDone},
      {"init.empty-text", "An empty text is a success that leaves the handle alone.", "", nullptr,
       0, false, true, kAllocated + InvalidParameters("")},
      {"init.blank-text", "So is a text of nothing but spaces.", "   ", nullptr, 0, false, true,
       kAllocated + InvalidParameters("   ")},
      {"init.malformed-first-item",
       "A text whose first item is malformed yields no case, and the line says the whole text.",
       "a:b:c " + std::string(kHinge), nullptr, 0, false, true,
       kAllocated + Malformed("a:b:c") + InvalidParameters("a:b:c " + std::string(kHinge))},
      {"init.long-text", "The line has all of the text, however long.", kLong, nullptr, 0, false,
       true, kAllocated + Malformed("bad") + InvalidParameters(kLong)},
      {"init.no-memory", "Without memory for the context init returns -12 and does nothing else.",
       kHinge, [](SimulatedHost& host) { host.RefuseMemory(); }, -12, false, true,
       Lines{"call audio_hal_calloc(32) = null",
             EntryLog(ERROR, "compensation_init: fail to allocate memory")}},
      {"init.no-device",
       "Without a device init returns -1, registers nothing, and frees and clears what the handle "
       "held.",
       kHinge, [](SimulatedHost& host) { host.HideDevice(); }, -1, false, false,
       kAllocated +
           Lines{EntryLog(ERROR, "compensation_init: failed to initialize events listeners")} +
           kFreedHandle},
      {"init.no-common-client",
       "A refused common-event client is a failure: -1, what the handle held freed and cleared.",
       kHinge, [](SimulatedHost& host) { host.RefuseCommonClient(-19); }, -1, false, false,
       kAllocated + CommonRefused(-19) + kFreedHandle},
      {"init.no-common-client-positive", "Any code but 0 is a refusal.", kRotation,
       [](SimulatedHost& host) { host.RefuseCommonClient(3); }, -1, false, false,
       kAllocated + CommonRefused(3) + kFreedHandle},
      {"init.no-usecase-client", "A refused use-case client is no failure.", kHinge,
       [](SimulatedHost& host) { host.RefuseUsecaseClient(7); }, 0, true, false,
       kAllocated + Common(0) + Usecase(7) + Sensor(0) + kDone},
      {"init.no-sensor",
       "A refused sensor is a failure: the clients are freed, the sensor deregistered, what the "
       "handle held freed and cleared.",
       kHinge, [](SimulatedHost& host) { host.RefuseHingeAngle(3); }, -1, false, false,
       kAllocated + Common(0) + Usecase(0) + SensorRefused(3) + kCommonFreed + kUsecaseFreed +
           kDeregistered + kFreedHandle},
      {"init.no-usecase-client-and-no-sensor", "Only clients that were allocated are freed.",
       kHinge,
       [](SimulatedHost& host) {
         host.RefuseUsecaseClient(7);
         host.RefuseHingeAngle(-1);
       },
       -1, false, false,
       kAllocated + Common(0) + Usecase(7) + SensorRefused(-1) + kCommonFreed + kDeregistered +
           kFreedHandle},
  };
  return rows;
}

void CheckInit(Trial& trial, const InitRow& row) {
  for (const bool is_preset : {false, true}) {
    const std::string when = is_preset ? "init with a handle that held something" : "init";
    if (is_preset) trial.host().PresetHandle();
    if (row.refuse != nullptr) row.refuse(trial.host());
    const auto init = trial.Init(row.config);
    trial.Expect(init.result == row.result, when + " returned " + std::to_string(init.result) +
                                                ", not " + std::to_string(row.result));
    trial.Expect(init.has_handle == row.has_handle,
                 when + (init.has_handle ? " handed out a handle" : " handed out no handle"));
    if (is_preset) {
      trial.Expect(init.left_handle_alone == row.leaves_handle_alone,
                   when + (init.left_handle_alone ? " left it" : " replaced what it held"));
    }
    trial.ExpectLines(when, Fill(row.expected, is_preset ? kFreedPreset : kFreedNull),
                      trial.recorder().TakeLines());
    trial.CheckViolations();
    trial.StopIfFailed();
    // The host can go on with the module.
    if (init.has_handle) {
      trial.Deinit();
    } else {
      trial.ExpectText("the dump without a handle", "\n", trial.Dump());
    }
    trial.recorder().TakeLines();
  }
  trial.Start(kHinge);
}

// ---- Deinit and what stays ----------------------------------------------------------------------

void CheckDeinit(Trial& trial, const char* config, int usecase_client_code, const Lines& expected) {
  trial.host().RefuseUsecaseClient(usecase_client_code);
  trial.Start(config);
  trial.Deinit();
  trial.ExpectLines("deinit", expected, trial.recorder().TakeLines());
}

void CheckLateEvents(Trial& trial) {
  trial.Start(kHinge);
  trial.After("announce 5");
  trial.Deinit();
  trial.recorder().TakeLines();
  trial.ExpectAfter("start 6", Status(true));
  const Lines sent = trial.After("hinge 20");
  trial.Expect(
      !sent.empty() && sent.size() == 3 && sent[1] == "write left(0.5 -0.25) right(2 3) = 0",
      "a hinge reading after deinit did not send the case that it fits");
  trial.ExpectAfter("withdraw 5", Status(false));
  trial.ExpectText("the dump after deinit", "\n", trial.Dump());
}

// The host never took the engine's word back: its threads may be on the way.
void CheckLateEventsOfAFailure(Trial& trial) {
  trial.host().RefuseHingeAngle(3);
  trial.Expect(!trial.Init(kHinge).has_handle, "init handed out a handle without the sensor");
  trial.recorder().TakeLines();
  trial.ExpectAfter("announce 5", {});
  trial.ExpectAfter("start 6", Status(true));
  trial.ExpectAfter("withdraw 5", Status(false));
}

// The 32 bytes are the host's memory: a host may look at them.
void CheckContext(Trial& trial) {
  for (const bool has_hinge : {false, true}) {
    trial.Start(has_hinge ? kHinge : kRotation);
    std::array<void*, 4> words{};
    std::memcpy(words.data(), trial.host().handle(), sizeof(words));
    const auto to = trial.host().registration();
    void* callback = nullptr;
    static_assert(sizeof(callback) == sizeof(to.hinge_angle_callback));
    if (has_hinge) std::memcpy(&callback, &to.hinge_angle_callback, sizeof(callback));
    const std::string when = has_hinge ? "with a hinge condition " : "without a hinge condition ";
    trial.Expect(words[0] != nullptr, when + "the context's first word, the listener, is null");
    trial.Expect(words[1] == to.common_cookie,
                 when + "the context's second word is not the engine, the cookie of the events");
    trial.Expect(
        (words[2] != nullptr) == has_hinge,
        when + "the context's third word, the sensor, is " + (has_hinge ? "" : "not ") + "null");
    trial.Expect(words[3] == callback, when + "the context's fourth word is not " +
                                           (has_hinge ? "the hinge-angle callback" : "null"));
    trial.Deinit();
  }
}

void CheckCookies(Trial& trial) {
  trial.Start(kHinge);
  const auto to = trial.host().registration();
  trial.Expect(to.common_cookie != nullptr && to.common_cookie == to.usecase_cookie &&
                   to.common_cookie == to.hinge_angle_cookie,
               "the three cookies are not one engine");
  int32_t value = 5;
  trial.report().Set("events with a null cookie");
  for (const int number : {2, 4, 8, 3}) to.common_handler(number, &value, nullptr);
  for (const int number : {21, 22, 3}) to.usecase_handler(number, nullptr, &value, nullptr);
  trial.Expect(to.hinge_angle_callback(30, nullptr) == 0,
               "the hinge-angle callback did not return 0 for a null cookie");
  trial.ExpectLines("after events with a null cookie", {}, trial.recorder().TakeLines());
}

std::ptrdiff_t OpenFiles() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

void CheckLives(Trial& trial) {
  std::ptrdiff_t open_files = 0;
  for (int i = 0; i < 20; ++i) {
    if (i == 1) open_files = OpenFiles();
    trial.Start(kHinge);
    trial.ExpectPart("the dump of a fresh engine",
                     "hinge angle:-1, screen rotation:0\n  Supported Scenario Is Active:false\n"
                     "  Previous Case Keys: Null\n",
                     trial.Dump());
    trial.ExpectAfter("announce 5", {});
    trial.ExpectAfter("hinge 20", {});
    const Lines sent = trial.After("start 6");
    trial.Expect(sent.size() == 5 && sent[3] == "write left(0.5 -0.25) right(2 3) = 0",
                 "\"start 6\" did not send the case that the posture fits");
    trial.Deinit();
    trial.StopIfFailed();
  }
  trial.Expect(OpenFiles() <= open_files, "files stay open from one init to the next");
}

// The event of one device makes a write, which its DSP keeps, and the other device gets events.
void ExpectNoWait(Trial& trial, const std::string& holder, SimulatedHost& other) {
  using Clock = std::chrono::steady_clock;
  Recorder& recorder = trial.recorder();
  recorder.HoldWrites();
  trial.Post(holder);
  trial.Expect(recorder.WaitForHeldWrite(trial.setup().patience),
               "\"" + holder + "\" made no write");
  const size_t due = recorder.ended_events() + 3;
  for (const char* const event : {"hinge 100", "withdraw 6", "stop 7"}) {
    other.Post(trial.ToEvent(event));
  }
  const auto deadline = Clock::now() + trial.setup().patience / 2;
  while (recorder.ended_events() < due && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  trial.Expect(
      recorder.ended_events() >= due,
      "events of one device wait while the DSP of the other keeps what \"" + holder + "\" wrote");
  recorder.ReleaseWrites();
  trial.Drain();
  other.Drain();
}

void CheckTwoDevices(Trial& trial) {
  SimulatedHost other(trial.module(), trial.recorder());
  trial.Start(kHinge);
  if (!other.Init(kHinge).has_handle) trial.Abandon("init for a second device gave no handle");
  trial.recorder().TakeLines();
  trial.ExpectAfter("announce 5", {});
  other.Deliver(trial.ToEvent("start 6"));
  trial.Expect(trial.recorder().TakeWrites().empty(),
               "a common value of one device and a use case of another made a scenario");
  // Nor a lock: the other's events do not wait for this one's writes.
  for (const char* const holder : {"start 6", "hinge 20", "withdraw 5"}) {
    ExpectNoWait(trial, holder, other);
  }
  trial.recorder().TakeLines();
  trial.Deinit();
  other.Deliver(trial.ToEvent("announce 6"));
  trial.Expect(other.dsp().state().module_active == true &&
                   trial.host().dsp().state().module_active == false,
               "the status did not go to the DSP of the device whose scenario began");
  other.Deinit();
}

void CheckSuccessLine(Trial& trial) {
  std::optional<bool> is_set;
  {
    SimulatedHost& host = trial.host();
    const simulator::LogCapture capture([&](const simulator::LogLine& line) {
      if (line.text == "compensation_init: initialize successfully")
        is_set = host.handle() != nullptr;
    });
    trial.Init(kHinge);
  }
  trial.Expect(is_set.has_value(), "init did not say that it succeeded");
  trial.Expect(is_set.value_or(true), "init said that it succeeded before it had set the handle");
}

}  // namespace

void AddInitValidations(Validations& validations) {
  for (const InitRow& row : InitRows()) {
    validations.push_back({row.name, row.holds, [&row](Trial& trial) { CheckInit(trial, row); }});
  }
  validations.push_back(
      {"init.again", "Each init after a deinit begins with a fresh engine.", CheckLives});
  validations.push_back({"init.two-devices", "Two devices share nothing.", CheckTwoDevices});
  validations.push_back({"init.late-events-of-a-failure",
                         "The engine outlives an init that fails: a handler called later works.",
                         CheckLateEventsOfAFailure});
  validations.push_back({"init.success-line", "Init says that it succeeded when the handle is set.",
                         CheckSuccessLine});
  validations.push_back({"init.context",
                         "The context is four words: the listener, the engine, the sensor and its "
                         "callback, the last two null without a hinge condition.",
                         CheckContext});
  validations.push_back(
      {"init.cookies", "All events bear the same cookie; one without is ignored.", CheckCookies});
  validations.push_back(
      {"deinit.all",
       "Deinit frees the common-event client, the use-case client, the sensor and "
       "the context, in this order.",
       [](Trial& trial) {
         CheckDeinit(trial, kHinge, 0,
                     kCommonFreed + kUsecaseFreed + kDeregistered + kFreedContext);
       }});
  validations.push_back({"deinit.no-usecase-client",
                         "Deinit frees no client that init did not get.", [](Trial& trial) {
                           CheckDeinit(trial, kHinge, -5,
                                       kCommonFreed + kDeregistered + kFreedContext);
                         }});
  validations.push_back(
      {"deinit.no-sensor", "Deinit does not touch a sensor that was not used.", [](Trial& trial) {
         CheckDeinit(trial, kRotation, 0, kCommonFreed + kUsecaseFreed + kFreedContext);
       }});
  validations.push_back({"deinit.late-events",
                         "The engine outlives deinit: a handler called later works as before.",
                         CheckLateEvents});
}

}  // namespace brelmo::tavi::tools
