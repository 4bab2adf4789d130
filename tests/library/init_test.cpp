// Every outcome of init and deinit, with the host calls and log lines on the way, in order.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using android::base::ERROR;
using android::base::WARNING;
using testing::ElementsAre;
using testing::ElementsAreArray;

const std::string kHingeConfig = "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt";
const std::string kRotationConfig = "ScreenRotation:0|LeftChannel:l.txt|RightChannel:r.txt";

const Lines kFreeNull = {"call audio_hal_free(null)"};
const Lines kDone = {EntryInfo("compensation_init: initialize successfully")};
Lines Clients(int common_result, int usecase_result) {
  Lines lines = {"call event_allocate_common_event_client(events {8, 2, 4}, option 5) = " +
                 std::to_string(common_result)};
  if (common_result == 0) {
    lines.push_back(
        "call event_allocate_usecase_event_client(use cases {6, 23, 24}, events {21, 22}, "
        "option 5) = " +
        std::to_string(usecase_result));
  }
  return lines;
}
Lines Sensor(int result) {
  return {"call sensor_registerHingeAngleSensorCallback(client 0x54534350) = " +
          std::to_string(result)};
}
const Lines kSensorRefused = {EntryLog(ERROR, "compensation_init: failed to register hinge angle")};
const Lines kSensorGone = {"call sensor_deregisterHingeAngleSensorCallback(client 0x54534350)"};
const Lines kCommonFreed = {"call event_free_common_event_client()"};
const Lines kUsecaseFreed = {"call event_free_usecase_event_client()"};
Lines InvalidParameters(const std::string& config) {
  return {EntryLog(ERROR, "compensation_init: invalid parameters " + config)};
}
Lines Malformed(const std::string& item) {
  return {EngineWarning("GetConfiginvalid name and value " + item)};
}

struct InitCase {
  const char* name;
  std::optional<std::string> config;
  // What the host functions return.
  int common_client_code;
  int usecase_client_code;
  int sensor_code;
  int result;
  bool has_handle;
  Lines expected;  // behind the allocation of the context
};

class InitTest : public ContractTest, public testing::WithParamInterface<InitCase> {};

TEST_P(InitTest, CallsAndLogs) {
  const InitCase& test = GetParam();
  host_.RefuseCommonClient(test.common_client_code);
  host_.RefuseUsecaseClient(test.usecase_client_code);
  host_.RefuseHingeAngle(test.sensor_code);
  const auto init = host_.Init(test.config ? test.config->c_str() : nullptr);
  EXPECT_FALSE(init.timed_out);
  EXPECT_EQ(init.result, test.result);
  EXPECT_EQ(init.has_handle, test.has_handle);
  // Whatever is allocated and not freed in these lines stays so.
  EXPECT_THAT(recorder_.TakeLines(),
              ElementsAreArray(Lines{"call audio_hal_calloc(32)"} + test.expected));
  // The host can use the module all the same.
  if (init.has_handle) {
    EXPECT_TRUE(host_.Deinit());
  } else {
    EXPECT_EQ(host_.Dump(), "\n");
    EXPECT_TRUE(host_.Init(kHingeConfig.c_str()).has_handle);
  }
}

// For the name of the test.
void PrintTo(const InitCase& row, std::ostream* out) { *out << row.name; }

const InitCase kInitCases[] = {
    {"WithHingeAngle", kHingeConfig, 0, 0, 0, 0, true, Clients(0, 0) + Sensor(0) + kDone},
    {"WithHingeAngleInALaterCase", kRotationConfig + " " + kHingeConfig, 0, 0, 0, 0, true,
     Clients(0, 0) + Sensor(0) + kDone},
    {"WithoutHingeAngle", kRotationConfig, 0, 0, 0, 0, true, Clients(0, 0) + kDone},
    {"NullText", std::nullopt, 0, 0, 0, 0, false, InvalidParameters("")},
    {"EmptyText", "", 0, 0, 0, 0, false, InvalidParameters("")},
    {"BlankText", "   ", 0, 0, 0, 0, false, InvalidParameters("   ")},
    {"NothingButAMalformedItem", "a:b:c " + kHingeConfig, 0, 0, 0, 0, false,
     Malformed("a:b:c") + InvalidParameters("a:b:c " + kHingeConfig)},
    {"MalformedItemBehindACase", kHingeConfig + " bad|HingeAngle:1,2", 0, 0, 0, 0, true,
     Malformed("bad") + Malformed("bad") + Clients(0, 0) + Sensor(0) + kDone},
    // Rejected when it is interpreted, which is no failure of init. The scan for the sensor goes by
    // the text: the rejected case counts.
    {"RejectedConfig", "ScreenRotation:0|LeftChannel:l.txt HingeAngle:0,90", 0, 0, 0, 0, true,
     Lines{EngineError("ParseConfig: output RightChannel is missed.")} + Clients(0, 0) + Sensor(0) +
         kDone},
    {"NoCommonClient", kHingeConfig, -19, 0, 0, -1, false,
     Clients(-19, 0) +
         Lines{EntryLog(WARNING, "Initialize: Failed to register common event handler(-19)"),
               EntryLog(ERROR, "compensation_init: failed to initialize events listeners")} +
         kFreeNull},
    {"NoUsecaseClient", kHingeConfig, 0, 7, 0, 0, true, Clients(0, 7) + Sensor(0) + kDone},
    {"NoSensor", kHingeConfig, 0, 0, 3, -1, false,
     Clients(0, 0) + Sensor(3) + kSensorRefused + kCommonFreed + kUsecaseFreed + kSensorGone +
         kFreeNull},
    {"NeitherUsecaseClientNorSensor", kHingeConfig, 0, 7, -1, -1, false,
     Clients(0, 7) + Sensor(-1) + kSensorRefused + kCommonFreed + kSensorGone + kFreeNull},
};

INSTANTIATE_TEST_SUITE_P(, InitTest, testing::ValuesIn(kInitCases),
                         [](const auto& info) { return std::string(info.param.name); });

class LifetimeTest : public ContractTest {};

TEST_F(LifetimeTest, NoMemory) {
  host_.RefuseMemory();
  const auto init = host_.Init(kHingeConfig.c_str());
  EXPECT_EQ(init.result, -12);
  EXPECT_FALSE(init.has_handle);
  EXPECT_THAT(recorder_.TakeLines(),
              ElementsAre("call audio_hal_calloc(32) = null",
                          EntryLog(ERROR, "compensation_init: fail to allocate memory")));
}

struct DeinitCase {
  const char* name;
  std::string config;
  bool has_usecase_client;
  Lines expected;
};

class DeinitTest : public ContractTest, public testing::WithParamInterface<DeinitCase> {};

TEST_P(DeinitTest, Calls) {
  if (!GetParam().has_usecase_client) host_.RefuseUsecaseClient(-5);
  Init(GetParam().config);
  EXPECT_TRUE(host_.Deinit());
  EXPECT_EQ(host_.handle(), nullptr);
  EXPECT_THAT(recorder_.TakeLines(), ElementsAreArray(GetParam().expected));
}

const Lines kFreeContext = {"call audio_hal_free(context)"};
// For the name of the test.
void PrintTo(const DeinitCase& row, std::ostream* out) { *out << row.name; }

const DeinitCase kDeinitCases[] = {
    {"All", kHingeConfig, true, kCommonFreed + kUsecaseFreed + kSensorGone + kFreeContext},
    {"NoUsecaseClient", kHingeConfig, false, kCommonFreed + kSensorGone + kFreeContext},
    {"NoSensor", kRotationConfig, true, kCommonFreed + kUsecaseFreed + kFreeContext},
};

INSTANTIATE_TEST_SUITE_P(, DeinitTest, testing::ValuesIn(kDeinitCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- One after and beside the other -------------------------------------------------------------

TEST_F(LifetimeTest, LateEventsFindTheEngine) {
  Init(kHingeConfig);
  After(Announce(5));
  EXPECT_TRUE(host_.Deinit());
  recorder_.TakeLines();
  EXPECT_EQ(host_.Deliver(Start(6)), Delivery::kNotRegistered);
  // A host thread that holds on to the handlers it was given.
  EXPECT_THAT(After(Raw(Start(6))), ElementsAreArray(Status(true)));
  EXPECT_THAT(After(Raw(Hinge(20))), testing::Contains("write left(0.5 -0.25) right(2 3) = 0"));
  EXPECT_THAT(After(Raw(Withdraw(5))), ElementsAreArray(Status(false)));
}

TEST_F(LifetimeTest, AgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    Init(kHingeConfig);
    EXPECT_THAT(host_.Dump().value(), testing::HasSubstr("hinge angle:-1,"));
    After(Announce(5));
    After(Hinge(20));
    EXPECT_THAT(After(Start(6)), testing::Contains("write left(0.5 -0.25) right(2 3) = 0"));
    EXPECT_TRUE(host_.Deinit());
  }
}

TEST_F(LifetimeTest, TwoDevicesDoNotShareState) {
  SimulatedHost other(Module(), recorder_);
  Init(kHingeConfig);
  ASSERT_TRUE(other.Init(kHingeConfig.c_str()).has_handle);
  host_.Deliver(Announce(5));
  other.Deliver(Start(6));
  EXPECT_THAT(recorder_.TakeWrites(), testing::IsEmpty());
  EXPECT_TRUE(host_.Deinit());
  other.Deliver(Announce(6));
  EXPECT_EQ(other.dsp().state().module_active, true);
  EXPECT_EQ(host_.dsp().state().module_active, std::nullopt);
  EXPECT_TRUE(other.Deinit());
}

// ---- The entry points and handlers called as they are, outside the host's order of things -------

class DirectCallTest : public ContractTest {
 protected:
  void TearDown() override {
    recorder_.TakeViolations();
    ContractTest::TearDown();
  }
  const hal_ext_audio_module& module_ = Module().descriptor();
};

template <size_t kFields>
std::array<void*, kFields> Fields(const void* record) {
  std::array<void*, kFields> fields{};
  std::memcpy(fields.data(), record, sizeof(fields));
  return fields;
}

TEST_F(DirectCallTest, DeinitLeavesAnInertListener) {
  Init(kRotationConfig);
  const auto to = host_.registration();
  auto context = Fields<4>(host_.handle());
  void* const engine = context[1];
  EXPECT_EQ(to.common_cookie, engine);
  EXPECT_EQ(to.usecase_cookie, engine);
  EXPECT_EQ(context[2], nullptr);
  EXPECT_EQ(context[3], nullptr);
  auto listener = Fields<6>(context[0]);
  EXPECT_EQ(listener[0], host_.device());
  EXPECT_EQ(listener[1], engine);
  EXPECT_EQ(listener[4], reinterpret_cast<void*>(to.common_handler));
  EXPECT_EQ(listener[5], reinterpret_cast<void*>(to.usecase_handler));

  EXPECT_TRUE(host_.Deinit());
  recorder_.TakeLines();
  EXPECT_THAT(recorder_.TakeViolations(), testing::IsEmpty());
  listener = Fields<6>(context[0]);
  for (const size_t i : {0, 2, 3}) EXPECT_EQ(listener[i], nullptr) << i;
  int32_t value = 5;
  std::array<int32_t, 16> record{};
  for (const int event : {2, 4, 8, 3}) {
    reinterpret_cast<hal_common_event_handler_t>(listener[4])(event, &value, engine);
  }
  for (const int event : {21, 22, 3}) {
    reinterpret_cast<usecase_event_handler_t>(listener[5])(
        event, reinterpret_cast<usecase*>(record.data()), nullptr, engine);
  }
  // Once more, with what the host's record held: there is nothing left to free but the record.
  void* handle = context.data();
  EXPECT_EQ(module_.deinit(host_.device(), &handle), 0);
  EXPECT_EQ(handle, nullptr);
  EXPECT_THAT(recorder_.TakeLines(), ElementsAreArray(kFreeContext));
}

TEST_F(DirectCallTest, HandleThatHeldSomething) {
  int preset = 0;
  std::ostringstream preset_freed;
  preset_freed << "audio_hal_free: " << &preset << " is not the host's memory";
  const auto init = [&](const std::string& config) {
    void* handle = &preset;
    std::string text =
        std::to_string(module_.init(host_.device(), nullptr, nullptr, config.c_str(), &handle));
    text += handle == nullptr ? " null" : handle == &preset ? " preset" : " context";
    const Lines violations = recorder_.TakeViolations();
    const bool is_freed = std::count(violations.begin(), violations.end(), preset_freed.str()) != 0;
    return text + (is_freed ? ", freed" : "");
  };
  host_.RefuseCommonClient(3);
  EXPECT_EQ(init(kHingeConfig), "-1 null, freed");
  host_.RefuseCommonClient(0);
  host_.RefuseHingeAngle(3);
  EXPECT_EQ(init(kHingeConfig), "-1 null, freed");
  EXPECT_EQ(init(""), "0 preset");
  EXPECT_EQ(init(kRotationConfig), "0 context");
  host_.RefuseMemory();
  EXPECT_EQ(init(kHingeConfig), "-12 preset");
}

TEST_F(DirectCallTest, DumpOfAContextWithoutAnEngine) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::array<void*, 4> context{};
  EXPECT_EQ(module_.dump(ends[1], context.data()), 0);
  close(ends[1]);
  char text[8];
  EXPECT_EQ(read(ends[0], text, sizeof(text)), 1);
  EXPECT_EQ(text[0], '\n');
  close(ends[0]);
}

TEST_F(DirectCallTest, LoggingKeepsErrno) {
  Init(kHingeConfig);
  int lines = 0;
  const simulator::LogCapture capture([&lines](const simulator::LogLine& /*line*/) {
    ++lines;
    errno = EIO;
  });
  const auto to = host_.registration();
  const auto common = [&](int event, int32_t value) {
    return [=]() mutable { to.common_handler(event, &value, to.common_cookie); };
  };
  const auto usecase_event = [&](int event) {
    return [=] {
      std::array<int32_t, 16> record = {0, 0, 0, 6};
      to.usecase_handler(event, reinterpret_cast<usecase*>(record.data()), nullptr,
                         to.usecase_cookie);
    };
  };
  const std::pair<int, std::function<void()>> events[] = {
      {2, common(3, 0)},
      {2, usecase_event(3)},
      {1, common(2, 5)},
      {2, usecase_event(21)},  // a status
      {2, [&] { to.hinge_angle_callback(30, to.hinge_angle_cookie); }},
      {2, usecase_event(22)},
  };
  host_.dsp().RefuseNext(2, -1);
  for (const auto& [expected_lines, event] : events) {
    errno = EXDEV;
    event();
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(std::exchange(lines, 0), expected_lines);
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
