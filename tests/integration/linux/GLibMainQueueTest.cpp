#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"

namespace lumora::platform {
namespace {

using test::DbusMockHarness;

class GLibMainQueueTest : public ::testing::Test {
 protected:
  GLibMainQueue queue;
  std::vector<std::string> order;
};

TEST_F(GLibMainQueueTest, PostedTasksRunOnTheLoopInPostOrderNeverInline) {
  queue.post([&] { order.push_back("a"); });
  queue.post([&] {
    order.push_back("b");
    queue.post([&] { order.push_back("d"); });
  });
  queue.post([&] { order.push_back("c"); });
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "d"}));
}

TEST_F(GLibMainQueueTest, TasksPostedFromManyThreadsAllRunOnTheLoopThreadInEachThreadsOrder) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 200;
  std::vector<std::vector<int>> seen(kThreads);
  std::atomic<int> offLoop{0};
  const auto loopThread = std::this_thread::get_id();
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        queue.post([&, t, i] {
          if (std::this_thread::get_id() != loopThread) ++offLoop;
          seen[t].push_back(i);
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] {
    for (const auto& s : seen)
      if (s.size() != kPerThread) return false;
    return true;
  }));
  EXPECT_EQ(offLoop, 0);
  for (const auto& s : seen) EXPECT_TRUE(std::is_sorted(s.begin(), s.end()));
}

TEST_F(GLibMainQueueTest, OneShotTimerFiresOnceUnlessInvalidatedEvenFromAnotherThread) {
  int fired = 0;
  int cancelledFired = 0;
  auto timer = queue.scheduleTimer(0.01, false, [&](Timer&) { ++fired; });
  auto cancelled = queue.scheduleTimer(0.01, false, [&](Timer&) { ++cancelledFired; });
  EXPECT_TRUE(timer->isValid());
  std::thread([&] { cancelled->invalidate(); }).join();
  EXPECT_FALSE(cancelled->isValid());
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return fired == 1; }));
  EXPECT_FALSE(timer->isValid());
  DbusMockHarness::idle(0.05);  // past where a second firing would be
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(cancelledFired, 0);
}

TEST_F(GLibMainQueueTest, RepeatingTimerRunsUntilInvalidatedFromItsOwnBlockEvenWhenUnreferenced) {
  int fired = 0;
  // The caller drops its reference at once: the loop keeps the timer alive.
  queue.scheduleTimer(0.005, true, [&](Timer& self) {
    if (++fired == 3) self.invalidate();
  });
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return fired >= 3; }));
  DbusMockHarness::idle(0.05);
  EXPECT_EQ(fired, 3);
}

TEST_F(GLibMainQueueTest, TimerInvalidatedByAnotherThreadWhileItsBlockRunsFinishesSafely) {
  std::shared_ptr<Timer> timer;
  std::atomic<int> fired{0};
  timer = queue.scheduleTimer(0.001, true, [&](Timer& self) {
    ++fired;
    std::thread([&] { timer->invalidate(); }).join();
    timer.reset();  // the block's own timer outlives this: the loop still holds it
    EXPECT_FALSE(self.isValid());
  });
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return fired == 1 && !timer; }));
  DbusMockHarness::idle(0.05);
  EXPECT_EQ(fired, 1);
}

TEST_F(GLibMainQueueTest, TasksPostedBeforeTheQueueIsDestroyedStillRun) {
  bool ran = false;
  {
    GLibMainQueue shortLived;
    shortLived.post([&] { ran = true; });
  }
  EXPECT_TRUE(DbusMockHarness::iterateUntil([&] { return ran; }));
}

}  // namespace
}  // namespace lumora::platform
