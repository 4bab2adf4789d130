#include "event_thread.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <future>
#include <vector>

#include <gmock/gmock.h>

namespace brelmo::tavi::test {

namespace {

using simulator::EventThread;
using testing::ElementsAre;

constexpr std::chrono::seconds kLong{30};
constexpr std::chrono::milliseconds kShort{10};

TEST(EventThreadTest, RunsTasksInOrderOnItsOwnThread) {
  EventThread thread("a name that is too long");
  std::vector<int> order;
  char name[16] = "";
  thread.Post([&] { order.push_back(1); });
  thread.Post([&] { order.push_back(2); });
  EXPECT_TRUE(thread.Run(
      [&] {
        order.push_back(3);
        pthread_getname_np(pthread_self(), name, sizeof(name));
      },
      kLong));
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_STREQ(name, "a name that is ");
  EXPECT_TRUE(thread.Drain(kLong));
}

TEST(EventThreadTest, GivesUpWaitingForALateTaskAndStillFinishesIt) {
  std::promise<void> release;
  std::atomic<int> done = 0;
  {
    EventThread thread("late");
    EXPECT_FALSE(thread.Run(
        [&] {
          release.get_future().wait();
          ++done;
        },
        kShort));
    EXPECT_FALSE(thread.Drain(kShort));
    EXPECT_EQ(done, 0);
    thread.Post([&] { ++done; });
    release.set_value();
  }
  EXPECT_EQ(done, 2);
}

}  // namespace

}  // namespace brelmo::tavi::test
