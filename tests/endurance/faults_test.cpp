// A whole run of the module, init to deinit and beyond, with every host call that can fail failing
// in turn, and every two of them.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <set>

#include "endurance_fixture.h"

namespace brelmo::tavi::test {
namespace {

using Call = DirectHost::Call;
using testing::IsEmpty;

// Every kind of change: status with and without corrections, corrections by either sensor, cases
// that overlap, and events that are no change.
constexpr HostEvent kEvents[] = {
    Hinge(30),        Announce(5),     StartUsecase(6), StartUsecase(23), Rotate(90),
    Hinge(100),       Rotate(0),       Hinge(101),      Hinge(101),       Hinge(102),
    Announce(6),      Withdraw(5),     StopUsecase(6),  StopUsecase(23),  Rotate(180),
    StartUsecase(24), Rotate(45),      Hinge(181),      Rotate(270),      Withdraw(6),
    Hinge(7),         StopUsecase(24), Announce(6),     StartUsecase(6),
};

class FaultsTest : public EnduranceTest {
 protected:
  struct Faults {
    std::set<int> failing_calls;  // numbers of the host calls, counted from 0
    // Events, by number, during which the device has no tuning entry.
    size_t absent_begin = 0;
    size_t absent_end = 0;
  };

  // Runs everything and checks it. Returns how many host calls there were that can fail.
  int Run(const Faults& faults) {
    faults_ = faults;
    calls_ = 0;
    failed_.clear();
    model_ = MakeModel(config_);
    const int result = host_.Init(config_);
    EXPECT_EQ(result, HasFailed(Call::kMemory)         ? -12
                      : HasFailed(Call::kCommonClient) ? -1
                      : HasFailed(Call::kSensor)       ? -1
                                                       : 0);
    EXPECT_EQ(host_.handle() != nullptr, result == 0);
    if (result == 0) {
      EXPECT_EQ(host_.has_usecase_client(), !HasFailed(Call::kUsecaseClient));
      DeliverAll(faults);
      const std::string head = model_->DumpHead();
      EXPECT_EQ(host_.Dump().substr(0, head.size()), head);
      host_.Deinit();
      DeliverAll(faults);  // on threads that came late
    }
    EXPECT_EQ(host_.Dump(), "\n");
    EXPECT_FALSE(host_.has_common_client() || host_.has_usecase_client() || host_.has_sensor());
    EXPECT_EQ(host_.contexts_held(), result == -1 ? 1 : 0);
    host_.FreeContexts();
    EXPECT_THAT(writes_, IsEmpty());
    EXPECT_THAT(host_.TakeViolations(), IsEmpty());
    return calls_;
  }

 private:
  void DeliverAll(const Faults& faults) {
    for (size_t i = 0; i < std::size(kEvents); ++i) {
      const HostEvent& event = kEvents[i];
      // As on a device, events come only of what could be registered.
      if (event.source == HostEvent::Source::kUsecase && HasFailed(Call::kUsecaseClient)) continue;
      SCOPED_TRACE(testing::Message() << "event " << i);
      const bool is_absent = faults.absent_begin <= i && i < faults.absent_end;
      host_.SetTuningEntry(!is_absent);
      host_.Deliver(event);
      const EngineModel::Writes& expected = model_->Apply(event);
      ASSERT_EQ(writes_.size(), is_absent ? 0 : expected.size());
      for (size_t j = 0; j < writes_.size(); ++j) {
        EXPECT_TRUE(expected[j]->Matches(writes_[j].data(), writes_[j].size()));
      }
      writes_.clear();
    }
  }

  // Whether the host call made now is to fail.
  bool IsFailing() { return faults_.failing_calls.count(calls_++) != 0; }
  bool HasFailed(Call call) const {
    return std::find(failed_.begin(), failed_.end(), call) != failed_.end();
  }

  Faults faults_;
  int calls_ = 0;
  std::vector<Call> failed_;
  std::unique_ptr<EngineModel> model_;
  std::vector<EngineModel::Bytes> writes_;
  DirectHost host_{Module(),
                   [this](const unsigned char* data, size_t size) {
                     writes_.emplace_back(data, data + size);
                     return !IsFailing() ? 0 : calls_ % 2 == 0 ? -5 : 1;
                   },
                   [this](Call call) {
                     if (!IsFailing()) return 0;
                     failed_.push_back(call);
                     return call == Call::kSensor ? 1 : -19;
                   }};
};

TEST_F(FaultsTest, EveryHostCallAndEveryTwo) {
  const int calls = Run({});
  // Memory, two clients, sensor and back, and a write for most of the events, which come twice.
  EXPECT_GT(calls, 5 + 24);
  int runs = 0;
  for (int first = 0; first < calls && !HasFailure(); ++first) {
    for (int second = first; second < calls && !HasFailure(); ++second) {
      SCOPED_TRACE(testing::Message() << "host calls " << first << " and " << second);
      Run({{first, second}});
      ++runs;
      Run({});  // nothing of the failures is left
    }
  }
  std::cout << calls << " host calls that can fail, " << runs << " runs with one or two failing\n";
}

TEST_F(FaultsTest, TuningEntryAbsentFromAnyEventToAny) {
  for (size_t begin = 0; begin < std::size(kEvents); ++begin) {
    for (size_t end = begin + 1; end <= std::size(kEvents) && !HasFailure(); ++end) {
      SCOPED_TRACE(testing::Message() << "absent from event " << begin << " up to " << end);
      Run({{}, begin, end});
    }
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
