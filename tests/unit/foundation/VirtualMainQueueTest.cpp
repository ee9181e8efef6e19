#include <gtest/gtest.h>

#include <thread>

#include "platform/sim/VirtualMainQueue.hpp"

namespace lumora::platform {
namespace {

class VirtualMainQueueTest : public ::testing::Test {
 protected:
  double now() const {
    return std::chrono::duration<double>(clock->now().time_since_epoch()).count();
  }

  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
  VirtualMainQueue queue{clock};
  std::vector<std::string> order;
};

TEST_F(VirtualMainQueueTest, TimersFireByDueTimeThenScheduleOrderAfterPendingExternalWork) {
  queue.scheduleTimer(2.0, false, [&](Timer&) { order.push_back("2s"); });
  queue.scheduleTimer(1.0, false, [&](Timer&) { order.push_back("1s-first"); });
  queue.scheduleTimer(1.0, false, [&](Timer&) { order.push_back("1s-second"); });
  queue.runFor(1.5);
  EXPECT_EQ(order, (std::vector<std::string>{"1s-first", "1s-second"}));
  EXPECT_DOUBLE_EQ(now(), 1.5);
  queue.runFor(10.0);
  EXPECT_EQ(order.back(), "2s");
  EXPECT_DOUBLE_EQ(now(), 11.5);

  order.clear();
  queue.scheduleTimer(5.0, false, [&](Timer&) { order.push_back("timer"); });
  queue.beginExternalWork();
  std::thread worker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    queue.post([&] { order.push_back("response"); });
    queue.endExternalWork();
  });
  queue.runFor(10.0);
  worker.join();
  EXPECT_EQ(order, (std::vector<std::string>{"response", "timer"}));
}

}  // namespace
}  // namespace lumora::platform
