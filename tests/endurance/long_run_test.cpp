// Very many events: every write as it must be, and memory as it was. The environment variable
// TAVI_ENDURANCE_EVENTS says how many there are.
#include <atomic>
#include <iostream>
#include <random>
#include <thread>

#include "endurance_fixture.h"
#include "memory_count.h"

namespace brelmo::tavi::test {
namespace {

using testing::IsEmpty;

int EventCount() {
  const char* const text = std::getenv("TAVI_ENDURANCE_EVENTS");
  return text == nullptr ? TAVI_ENDURANCE_EVENTS : std::stoi(text);
}

// Draws events; the same seed gives the same ones.
class Traffic {
 public:
  explicit Traffic(unsigned seed) : random_(seed) {}

  HostEvent NextCommon() {
    static constexpr int32_t kValues[] = {5, 6, 5, 6, 4};
    static constexpr int32_t kRotations[] = {0, 90, 180, 270, 45};
    switch (Draw(4)) {
      case 0:
        return Announce(kValues[Draw(5)]);
      case 1:
        return Withdraw(kValues[Draw(5)]);
      default:
        return Rotate(kRotations[Draw(5)]);
    }
  }
  HostEvent NextUsecase() {
    static constexpr int32_t kUsecases[] = {6, 23, 24};
    const bool is_start = Draw(2) == 0;
    const int32_t usecase = kUsecases[Draw(3)];
    return is_start ? StartUsecase(usecase) : StopUsecase(usecase);
  }
  HostEvent NextReading() { return Hinge(Draw(200) - 10); }
  HostEvent Next() {
    switch (Draw(8)) {
      case 0:
        return NextUsecase();
      case 1:
      case 2:
      case 3:
        return NextCommon();
      default:
        return NextReading();
    }
  }
  int Draw(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }

 private:
  std::mt19937 random_;
};

// Memory at the beginning of a run, once everything has reached its size.
class MemoryWatch {
 public:
  // May be called at any time of the run.
  void Check() {
    const MemoryCount growth = MemoryCount::Take() - count_;
    EXPECT_EQ(growth.blocks, 0);
    EXPECT_EQ(growth.bytes, 0);
    // The C library's allocator keeps freed blocks at hand.
    constexpr size_t kSlack = 65536;
    EXPECT_LE(HeapBytes(), heap_ + kSlack);
  }
  void Report(int64_t events, int64_t writes) const {
    std::cout << events << " events, " << writes << " writes; allocated blocks "
              << (MemoryCount::Take() - count_).blocks << ", bytes "
              << (MemoryCount::Take() - count_).bytes << ", heap "
              << static_cast<long>(HeapBytes()) - static_cast<long>(heap_) << ", resident "
              << (static_cast<long>(ResidentBytes()) - static_cast<long>(resident_)) / 1024
              << " KiB more than at the beginning\n";
  }

 private:
  MemoryCount count_ = MemoryCount::Take();
  size_t heap_ = HeapBytes();
  size_t resident_ = ResidentBytes();  // with a sanitizer, its quarantine as well
};

class LongRunTest : public EnduranceTest {};

TEST_F(LongRunTest, EveryWriteIsRightAndMemoryFlat) {
  const int event_count = EventCount();
  Traffic traffic(1);
  const auto model = MakeModel(config_);
  const EngineModel::Writes* expected = nullptr;
  size_t written = 0;  // in the current event
  int64_t total_written = 0;
  int64_t wrong = 0;
  DirectHost host(Module(), [&](const unsigned char* data, size_t size) {
    if (written >= expected->size() || !(*expected)[written]->Matches(data, size)) ++wrong;
    ++written;
    ++total_written;
    return traffic.Draw(10) == 0 ? -5 : 0;
  });
  ASSERT_EQ(host.Init(config_), 0);

  std::optional<MemoryWatch> watch;
  constexpr int kWarmUp = 1000;
  for (int i = 0; i < event_count + kWarmUp; ++i) {
    if (i == kWarmUp) watch.emplace();
    const HostEvent event = traffic.Next();
    expected = &model->Apply(event);
    written = 0;
    host.Deliver(event);
    ASSERT_EQ(written, expected->size()) << "event " << i;
    ASSERT_EQ(wrong, 0) << "event " << i;
    if (i % 10000 != 0) continue;
    if (watch) watch->Check();
    const std::string head = model->DumpHead();
    ASSERT_EQ(host.Dump().substr(0, head.size()), head) << "event " << i;
  }
  watch->Check();
  watch->Report(event_count, total_written);
  EXPECT_THAT(host.TakeViolations(), IsEmpty());
  host.Deinit();
}

// Holds the writes of an engine against what can be said of them whatever the order of events: the
// statuses alternate, corrections come while the status is active, whole and never twice in a row.
class EnduranceThreads : public EnduranceTest {
 protected:
  EnduranceThreads() {
    const auto model = MakeModel(plain_config_);
    for (const auto& one : model->cases()) corrections_.push_back(one.write);
    status_[0] = *MakeStatus(false);
    status_[1] = *MakeStatus(true);
  }

  // Called with the engine's lock held, so for one engine never by two threads.
  int Receive(const unsigned char* data, size_t size) {
    ++writes_;
    if (status_[is_active_ ? 0 : 1].Matches(data, size)) {
      is_active_ = !is_active_;
      last_ = nullptr;
      return 0;
    }
    for (const EngineModel::Write& one : corrections_) {
      if (!one.Matches(data, size)) continue;
      if (!is_active_ || last_ == &one) ++wrong_;
      last_ = &one;
      return writes_ % 7 == 0 ? -5 : 0;
    }
    ++wrong_;
    return 0;
  }

  void Reset() {
    is_active_ = false;
    last_ = nullptr;
  }

  // Starts the host's three threads; each delivers `count` events.
  std::vector<std::thread> Start(unsigned seed, int count) {
    std::vector<std::thread> threads;
    for (HostEvent (Traffic::*const next)() :
         {&Traffic::NextCommon, &Traffic::NextUsecase, &Traffic::NextReading}) {
      threads.emplace_back([this, next, seed, count, number = threads.size()] {
        Traffic traffic(seed * 3 + static_cast<unsigned>(number));
        for (int i = 0; i < count; ++i) {
          host_.Deliver((traffic.*next)());
          ++delivered_;
        }
      });
    }
    return threads;
  }
  static void Join(std::vector<std::thread>& threads) {
    for (std::thread& thread : threads) thread.join();
    threads.clear();
  }

  DirectHost host_{Module(),
                   [this](const unsigned char* data, size_t size) { return Receive(data, size); }};
  std::atomic<int64_t> delivered_ = 0;
  int64_t writes_ = 0;
  int64_t wrong_ = 0;
  bool is_active_ = false;

 private:
  static std::unique_ptr<EngineModel::Write> MakeStatus(bool is_active) {
    EngineModel model({}, {});
    model.Apply(Announce(5));
    const auto& writes = model.Apply(StartUsecase(6));
    if (is_active) return std::make_unique<EngineModel::Write>(*writes.at(0));
    return std::make_unique<EngineModel::Write>(*model.Apply(StopUsecase(6)).at(0));
  }

  EngineModel::Write status_[2];
  std::vector<EngineModel::Write> corrections_;
  const EngineModel::Write* last_ = nullptr;
};

TEST_F(EnduranceThreads, TrafficWithDumps) {
  ASSERT_EQ(host_.Init(plain_config_), 0);
  auto warm_up = Start(0, 1000);
  Join(warm_up);
  delivered_ = 0;
  MemoryWatch watch;
  {
    const int64_t events_each = EventCount() / 3;
    auto threads = Start(1, static_cast<int>(events_each));
    while (delivered_ < 3 * events_each) {
      const std::string dump = host_.Dump();
      ASSERT_EQ(dump.rfind("TelephonySpeakerCompensation :\n", 0), 0U);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    Join(threads);
  }
  EXPECT_EQ(wrong_, 0);
  watch.Check();
  watch.Report(delivered_, writes_);
  EXPECT_NE(host_.Dump().find(is_active_ ? "Active:true" : "Active:false"), std::string::npos);
  EXPECT_THAT(host_.TakeViolations(), IsEmpty());
  host_.Deinit();
}

TEST_F(EnduranceThreads, DeinitAmidTraffic) {
  constexpr int kEventsEach = 400;
  Traffic moments(1);
  for (unsigned round = 0; round < 200; ++round) {
    Reset();
    ASSERT_EQ(host_.Init(plain_config_), 0);
    const int64_t begin = delivered_;
    auto threads = Start(round, kEventsEach);
    const int64_t moment = begin + moments.Draw(3 * kEventsEach);
    while (delivered_ < moment) std::this_thread::yield();
    host_.Deinit();  // the threads go on with the handlers that they were given
    EXPECT_EQ(host_.Dump(), "\n");
    Join(threads);
    ASSERT_EQ(wrong_, 0) << "round " << round;
    ASSERT_THAT(host_.TakeViolations(), IsEmpty()) << "round " << round;
  }
  EXPECT_GT(writes_, 1000);
}

}  // namespace
}  // namespace brelmo::tavi::test
