// What init and deinit leave allocated, to the byte, however often they are called.
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "endurance_fixture.h"
#include "memory_count.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::TelephonySpeakerCompensation;
using Call = DirectHost::Call;
using testing::IsEmpty;

struct LeftoversCase {
  const char* name;
  const char* config;
  std::optional<Call> refused;
  int result;
  bool leaves_engine;
  bool leaves_sensor_wrapper;
  bool leaves_context;
  int rounds;
};

class LeftoversTest : public EnduranceTest, public testing::WithParamInterface<LeftoversCase> {
 protected:
  // A tuner wrapper as the module's own: nothing but a device.
  class Deliverer final : public audio::TunerDelivererWrapper {
   public:
    explicit Deliverer(void* device) : device_(device) {}
    bool SendStereoSpatializerParameters(const unsigned char*, int, void*) override {
      return false;
    }
    bool WriteCompensationData(const unsigned char*, unsigned long) override {
      return device_ != nullptr;
    }

   private:
    void* device_;
  };

  // An engine of this configuration and all that belongs to it.
  static MemoryCount EngineSize(const std::string& config) {
    const MemoryCount before = MemoryCount::Take();
    const auto engine = std::make_unique<TelephonySpeakerCompensation>(
        std::make_unique<Deliverer>(nullptr), TelephonySpeakerCompensation::GetConfig(config));
    return MemoryCount::Take() - before;
  }

  // A call, and everything that is unregistered or forgotten at its end.
  void Round() {
    const LeftoversCase& test = GetParam();
    ASSERT_EQ(host_.Init(test.config), test.result);
    ASSERT_EQ(host_.handle() != nullptr, test.result == 0 && test.leaves_engine);
    if (host_.handle() != nullptr) {
      for (const HostEvent& event :
           {Announce(5), StartUsecase(6), Hinge(30), Rotate(180), StopUsecase(6), Withdraw(5)}) {
        host_.Deliver(event);
      }
      host_.Deinit();
    }
    ASSERT_EQ(host_.contexts_held(), test.leaves_context ? 1 : 0);
    host_.FreeContexts();
    ASSERT_THAT(host_.TakeViolations(), IsEmpty());
  }

  DirectHost host_{Module(), [](const unsigned char*, size_t) { return 0; },
                   [](Call call) { return call == GetParam().refused ? -19 : 0; }};
};

ptrdiff_t OpenFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_P(LeftoversTest, TheSameEveryRound) {
  const LeftoversCase& test = GetParam();
  Round();  // what is made once and for all
  MemoryCount expected;
  if (test.leaves_engine) {
    expected = EngineSize(test.config);
    // The listener: device, engine, two clients, two handlers.
    constexpr long kListenerSize = 48;
    expected = expected + MemoryCount{1, kListenerSize};
  }
  // The sensor wrapper: its virtual functions and the device.
  constexpr long kSensorWrapperSize = 16;
  if (test.leaves_sensor_wrapper) expected = expected + MemoryCount{1, kSensorWrapperSize};

  const size_t heap_before = HeapBytes();
  const ptrdiff_t files_before = OpenFiles();
  for (int round = 0; round < test.rounds; ++round) {
    const MemoryCount before = MemoryCount::Take();
    Round();
    const MemoryCount left = MemoryCount::Take() - before;
    ASSERT_EQ(left.blocks, expected.blocks) << "round " << round;
    ASSERT_EQ(left.bytes, expected.bytes) << "round " << round;
  }
  EXPECT_EQ(OpenFiles(), files_before);
  std::cout << test.rounds << " rounds, each leaves " << expected.bytes << " bytes in "
            << expected.blocks << " blocks" << (test.leaves_context ? " and the context" : "");
  if (const size_t heap = HeapBytes(); heap > 0) {
    std::cout << "; the heap grew by " << (heap - heap_before) / test.rounds << " bytes a round";
  }
  std::cout << "\n";
}

constexpr const char* kHinge =
    "HingeAngle:0,90|ScreenRotation:0,180|LeftChannel:0l|RightChannel:0r "
    "HingeAngle:91,180|ScreenRotation:0|LeftChannel:1l|RightChannel:1r";
constexpr const char* kRotation = "ScreenRotation:0,90|LeftChannel:0l|RightChannel:0r";
constexpr const char* kRejected = "HingeAngle:0,90|LeftChannel:0l|RightChannel:0r HingeAngle:5,1";

// For the name of the test.
void PrintTo(const LeftoversCase& row, std::ostream* out) { *out << row.name; }

constexpr LeftoversCase kLeftoversCases[] = {
    {"WithSensor", kHinge, {}, 0, true, true, false, 10000},
    {"WithoutSensor", kRotation, {}, 0, true, false, false, 10000},
    {"RejectedConfig", kRejected, {}, 0, true, true, false, 2000},
    {"NoCase", "HingeAngle", {}, 0, false, false, true, 2000},
    {"NoMemory", kHinge, Call::kMemory, -12, false, false, false, 2000},
    {"NoCommonClient", kHinge, Call::kCommonClient, -1, true, false, true, 2000},
    {"NoUsecaseClient", kHinge, Call::kUsecaseClient, 0, true, true, false, 2000},
    {"NoSensor", kHinge, Call::kSensor, -1, true, true, true, 2000},
};

INSTANTIATE_TEST_SUITE_P(, LeftoversTest, testing::ValuesIn(kLeftoversCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace brelmo::tavi::test
