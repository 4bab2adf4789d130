#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "test_engine.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;

std::string DumpText(const TelephonySpeakerCompensation& engine) {
  const int fd = memfd_create("dump", MFD_CLOEXEC);
  EXPECT_GE(fd, 0);
  engine.Dump(fd);
  std::string text(lseek(fd, 0, SEEK_END), '\0');
  EXPECT_EQ(pread(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  close(fd);
  return text;
}

TEST(Dump, OfAFreshEngine) {
  EXPECT_EQ(DumpText(TelephonySpeakerCompensation(nullptr, {})),
            "TelephonySpeakerCompensation :\n"
            "  Optional Parameters:\n"
            "    hinge angle:-1, screen rotation:0\n"
            "  Supported Scenario Is Active:false\n"
            "  Previous Case Keys: Null\n"
            "  TuningData:\n"
            "  Parameter Index:\n");
}

TEST(Dump, OfAnEngineAtWork) {
  EngineBench bench;
  bench.Declare("ScreenRotation", {"270"});
  bench.Declare("HingeAngle", {"0", "90"});
  CompensationData from_file = MakeOutput(1, std::vector<float>(514));
  from_file.file_name = "sub/r.txt";
  bench.inside.AppendCase({CaseKey("HingeAngle", {0}), CaseKey("ScreenRotation", {0, 1})},
                          {from_file, MakeOutput(0, {})});
  bench.inside.AppendCase({CaseKey("HingeAngle", {3})}, {});
  bench.engine.OnSensorValueChanged(45);
  bench.engine.UpdateScreenRotation(270);
  bench.Activate();
  EXPECT_EQ(DumpText(bench.engine),
            "TelephonySpeakerCompensation :\n"
            "  Optional Parameters:\n"
            "    hinge angle:45, screen rotation:270\n"
            "  Supported Scenario Is Active:true\n"
            "  Previous Case Keys:Case Keys : {Name : HingeAngle, Supported Index: {0 } "
            "Name : ScreenRotation, Supported Index: {0 1 } }\n"
            "  TuningData:\n"
            "    Case Keys [0] :\n"
            "      Name : HingeAngle, Supported Index: {0 }\n"
            "      Name : ScreenRotation, Supported Index: {0 1 }\n"
            "    Output [0] :\n"
            "      FileName: sub/r.txt, Type:1, Data Size:514\n"
            "      FileName: , Type:0, Data Size:0\n"
            "    Case Keys [1] :\n"
            "      Name : HingeAngle, Supported Index: {3 }\n"
            "    Output [1] :\n"
            "  Parameter Index:\n"
            "      ScreenRotation {270:0, }\n"
            "      HingeAngle {[0~90]:0, }\n");
}

// ---- From several threads: also for a run under the thread sanitizer ----------------------------

TEST(EngineThreads, DumpDoesNotWaitForADelivery) {
  LogRecorder log;
  const TelephonySpeakerCompensation* dumped = nullptr;
  std::future<std::string> dump;
  std::future_status status{};
  TelephonySpeakerCompensation engine(std::make_unique<FunctionDeliverer>([&](const Bytes&) {
                                        dump = std::async(std::launch::async,
                                                          [&] { return DumpText(*dumped); });
                                        status = dump.wait_for(std::chrono::seconds(20));
                                        return true;
                                      }),
                                      {});
  dumped = &engine;
  engine.AddActiveUsecase(6);
  engine.AddActiveCommonValue(5);
  EXPECT_EQ(status, std::future_status::ready);
  EXPECT_THAT(dump.get(), HasSubstr("Active:true"));
}

TEST(EngineThreads, EverythingAtOnce) {
  LogRecorder log;
  std::vector<Bytes> writes;  // unguarded on purpose: deliveries must not overlap
  std::atomic<int> deliveries = 0;
  std::atomic<bool> overlapped = false;
  std::atomic<int> responses = 0;
  TelephonySpeakerCompensation engine(std::make_unique<FunctionDeliverer>([&](Bytes bytes) {
                                        if (deliveries.fetch_add(1, std::memory_order_relaxed) != 0)
                                          overlapped = true;
                                        if (bytes.size() != kStatusActive.size()) ++responses;
                                        writes.push_back(std::move(bytes));
                                        std::this_thread::yield();
                                        deliveries.fetch_sub(1, std::memory_order_relaxed);
                                        return writes.size() % 5 != 0;
                                      }),
                                      {});
  EnginePeer inside(engine);
  CaseKeys ignored;
  ASSERT_TRUE(inside.ParseRule(ignored, {"0", "90"}, "HingeAngle"));
  ASSERT_TRUE(inside.ParseRule(ignored, {"91", "180"}, "HingeAngle"));
  ASSERT_TRUE(inside.ParseRule(ignored, {"0", "90"}, "ScreenRotation"));
  std::set<std::string> previous_texts = {" Null"};
  for (const CaseKeys& keys : {CaseKeys{CaseKey("HingeAngle", {0})},
                               CaseKeys{CaseKey("HingeAngle", {1}), CaseKey("ScreenRotation", {0})},
                               CaseKeys{CaseKey("ScreenRotation", {1})}}) {
    inside.AppendCase(keys, {MakeOutput(1, {1, 2}), MakeOutput(0, {3, 4})});
    previous_texts.insert(TelephonySpeakerCompensation::ToString(keys));
  }

  // By work done, not by rounds: the threads must have met each other.
  constexpr int kResponses = 2000;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  const auto repeat = [&](const std::function<void(int)>& change) {
    return std::thread([&responses, deadline, change] {
      for (int i = 0; responses < kResponses && std::chrono::steady_clock::now() < deadline; ++i) {
        change(i);
        std::this_thread::yield();
      }
    });
  };
  std::thread changers[] = {
      repeat([&](int i) {
        engine.AddActiveUsecase(6 + i % 3);
        for (uint32_t usecase = 6; i % 10 == 9 && usecase < 9; ++usecase) {
          engine.RemoveActiveUsecase(usecase);
        }
      }),
      repeat([&](int i) {
        engine.AddActiveCommonValue(4 + i % 4);
        if (i % 7 == 6) engine.RemoveActiveCommonValue(5);
        if (i % 11 == 10) engine.RemoveActiveCommonValue(6);
      }),
      repeat([&](int i) { engine.UpdateScreenRotation(i * 90 % 360); }),
      repeat([&](int i) { engine.OnSensorValueChanged(i * 37 % 200); }),
  };
  std::atomic<bool> ending = false;
  std::thread dumper([&] {
    do {
      engine.IsSupportedScenario();
      const std::string text = DumpText(engine);
      const std::string label = "Previous Case Keys:";
      const size_t begin = text.find(label) + label.size();
      const std::string previous = text.substr(begin, text.find('\n', begin) - begin);
      EXPECT_EQ(previous_texts.count(previous), 1U) << text;
    } while (!ending);
  });
  for (std::thread& changer : changers) changer.join();
  ending = true;
  dumper.join();

  EXPECT_FALSE(overlapped);
  EXPECT_GE(responses, kResponses);
  Bytes response = ResponseMessage(17, {1, 2});
  const Bytes left = ResponseMessage(16, {3, 4});
  response.insert(response.end(), left.begin(), left.end());
  bool active = false;
  for (const Bytes& write : writes) {
    if (write.size() == kStatusActive.size()) {
      active = !active;
      EXPECT_EQ(write, active ? kStatusActive : kStatusInactive);
    } else {
      EXPECT_TRUE(active) << "a response outside the scenario";
      EXPECT_EQ(write, response);
    }
  }
  EXPECT_EQ(engine.IsSupportedScenario(), active);
}

}  // namespace
}  // namespace brelmo::tavi::test
