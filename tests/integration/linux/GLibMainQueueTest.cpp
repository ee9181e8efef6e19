#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"

namespace lumora::platform {
namespace {

using test::idle;
using test::until;

TEST(GLibMainQueueTest, TasksRunOnTheLoopThreadInPostOrderNeverInlineEvenFromManyThreads) {
  GLibMainQueue queue;
  std::vector<std::string> order;
  queue.post([&] { order.push_back("a"); });
  queue.post([&] {
    order.push_back("b");
    queue.post([&] { order.push_back("d"); });
  });
  queue.post([&] { order.push_back("c"); });
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(until([&] { return order.size() == 4; }));
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "d"}));

  constexpr int kThreads = 4;
  constexpr std::size_t kPerThread = 200;
  std::vector<std::vector<std::size_t>> seen(kThreads);
  std::atomic<int> offLoop{0};
  const auto loopThread = std::this_thread::get_id();
  std::vector<std::thread> posters;
  for (auto& mine : seen) {
    posters.emplace_back([&] {
      for (std::size_t i = 0; i < kPerThread; ++i) {
        queue.post([&, i] {
          offLoop += std::this_thread::get_id() != loopThread ? 1 : 0;
          mine.push_back(i);
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  ASSERT_TRUE(until([&] {
    return std::all_of(seen.begin(), seen.end(), [&](auto& s) { return s.size() == kPerThread; });
  }));
  EXPECT_EQ(offLoop, 0);
  for (const auto& s : seen) EXPECT_TRUE(std::is_sorted(s.begin(), s.end()));
}

TEST(GLibMainQueueTest, TimersFireUntilInvalidatedFromAnyThreadOrTheirOwnBlockEvenWhileRunning) {
  GLibMainQueue queue;
  int oneShot = 0, cancelledShot = 0, repeating = 0;
  auto timer = queue.scheduleTimer(0.01, false, [&](Timer&) { ++oneShot; });
  auto cancelled = queue.scheduleTimer(0.01, false, [&](Timer&) { ++cancelledShot; });
  std::thread([&] { cancelled->invalidate(); }).join();
  EXPECT_FALSE(cancelled->isValid());
  // The caller drops its reference at once: the loop keeps the timer alive.
  queue.scheduleTimer(0.005, true, [&](Timer& self) {
    if (++repeating == 3) self.invalidate();
  });
  // Invalidated by another thread while its block runs, a timer finishes safely.
  std::shared_ptr<Timer> racing;
  std::atomic<int> fired{0};
  racing = queue.scheduleTimer(0.001, true, [&](Timer& self) {
    ++fired;
    std::thread([&] { racing->invalidate(); }).join();
    racing.reset();  // the block's own timer outlives this: the loop still holds it
    EXPECT_FALSE(self.isValid());
  });
  ASSERT_TRUE(until([&] { return oneShot == 1 && repeating >= 3 && fired == 1 && !racing; }));
  EXPECT_FALSE(timer->isValid());
  idle(0.05);  // past where further firings would be
  EXPECT_EQ(oneShot, 1);
  EXPECT_EQ(cancelledShot, 0);
  EXPECT_EQ(repeating, 3);
  EXPECT_EQ(fired, 1);

  // Tasks posted before a queue is destroyed still run.
  bool ran = false;
  std::make_unique<GLibMainQueue>()->post([&] { ran = true; });
  EXPECT_TRUE(until([&] { return ran; }));
}

}  // namespace
}  // namespace lumora::platform
