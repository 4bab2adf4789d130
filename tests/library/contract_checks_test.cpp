// The simulated host's checks of a module, which `tavi run` and `tavi validate` lean on: each
// breach of the contract is noticed and called by its name.
#include <algorithm>
#include <chrono>
#include <thread>

#include <gmock/gmock.h>

#include "simulated_host.h"
#include "trial/recorder.h"

namespace brelmo::tavi::test {
namespace {

using simulator::HostEvent;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

constexpr std::chrono::seconds kLongTime{20};
constexpr HostEvent kAnnounce = {HostEvent::Source::kCommon, simulator::kValueAnnounced, 5};
constexpr HostEvent kStart = {HostEvent::Source::kUsecase, simulator::kUsecaseStarted, 6};
constexpr HostEvent kHinge = {HostEvent::Source::kHingeAngle, 0, 30};

struct Breach {
  const char* defect;
  const char* violation;
};

class ContractChecks : public testing::Test {
 protected:
  // The life of a module from init to deinit.
  void Play(const char* defect) {
    ASSERT_TRUE(host_.Init(defect).has_handle);
    for (const HostEvent& event : {kAnnounce, kStart, kHinge}) host_.Deliver(event);
    EXPECT_TRUE(host_.Dump().has_value());
    EXPECT_TRUE(host_.Deinit());
  }

  const simulator::LoadedModule module_{TAVI_BROKEN_MODULE_FILE};
  tools::Recorder recorder_;
  simulator::SimulatedHost host_{module_, recorder_};
};

class BreachTest : public ContractChecks, public testing::WithParamInterface<Breach> {};

TEST_P(BreachTest, IsReported) {
  Play(GetParam().defect);
  EXPECT_THAT(recorder_.TakeViolations(), Contains(HasSubstr(GetParam().violation)));
}

// For the name of the test.
void PrintTo(const Breach& row, std::ostream* out) { *out << row.defect; }

const Breach kBreaches[] = {
    {"client not freed", "the common-event client was not freed after deinit"},
    {"client freed twice", "event_free_common_event_client: the client was freed already"},
    {"wrong client freed", "is not the client"},
    {"missing event", "events {8, 2}, option 5): expected events {8, 2, 4}"},
    {"context size", "audio_hal_calloc(64): the context has 32 bytes"},
    {"context not freed", "deinit did not give the context back"},
    {"context freed twice", "audio_hal_free: a block was freed twice"},
    {"foreign memory freed", "is not the host's memory"},
    {"sensor client", "expected client 0x54534350"},
    {"sensor not deregistered", "the hinge-angle callback was not deregistered after deinit"},
    {"proximity sensor", "the module has no use for that sensor"},
    {"wrong tuning code", "tuning entry: arguments 12, 10, 0, null, null"},
    {"write outside events", "tuning entry: called from a thread that holds no event"},
    {"short message", "makes no sense at offset 0: a payload of 4 bytes"},
    {"bad status", "a module status is 0 or 1, not 2"},
    {"half a bin", "makes no sense at offset 16: a response of 4 bytes"},
    {"one channel twice", "two messages for the left channel in one write"},
    {"device record", "the device record was written to before the end of init"},
    {"handle left", "deinit left the handle set"},
};

INSTANTIATE_TEST_SUITE_P(, BreachTest, testing::ValuesIn(kBreaches), [](const auto& info) {
  std::string name = info.param.defect;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

TEST_F(ContractChecks, NothingToReport) {
  Play("none");
  EXPECT_THAT(recorder_.TakeViolations(), IsEmpty());
  EXPECT_EQ(recorder_.TakeWrites().size(), 2U);
}

TEST_F(ContractChecks, TwoWritesAtTheSameTime) {
  ASSERT_TRUE(host_.Init("none").has_handle);
  recorder_.HoldWrites();
  host_.Post(kAnnounce);
  ASSERT_TRUE(recorder_.WaitForHeldWrite(kLongTime));
  host_.Post(kStart);
  Lines violations;
  const auto end = std::chrono::steady_clock::now() + kLongTime;
  while (violations.empty() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    violations = recorder_.TakeViolations();
  }
  recorder_.ReleaseWrites();
  EXPECT_TRUE(host_.Drain());
  EXPECT_TRUE(host_.Deinit());
  for (const std::string& later : recorder_.TakeViolations()) violations.push_back(later);
  EXPECT_THAT(violations, testing::ElementsAre("tuning entry: two writes at the same time"));
}

}  // namespace
}  // namespace brelmo::tavi::test
