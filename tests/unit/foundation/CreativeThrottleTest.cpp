#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include "core/throttle/CreativeThrottle.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

constexpr double kHour = 3600.0;
const std::string kSpace = "0a1b2c3d4e5f6071";

Creative::FrequencyCapping cap(std::int64_t maxFrequency, std::int64_t intervalHours) {
  return {intervalHours, maxFrequency};
}

class CreativeThrottleTest : public testing::SimWorld {
 protected:
  void advance(double seconds) { platform->virtualClock->advance(seconds); }
  bool process(const Creative::FrequencyCapping& capping, std::int64_t bindingId = 300) {
    return throttle.process(4660, kSpace, bindingId, capping);
  }
  std::int64_t count(std::int64_t withinHours, std::int64_t bindingId = 300) const {
    return throttle.getProcessingCount(4660, kSpace, bindingId, withinHours);
  }

  CreativeThrottle throttle{platform->clock()};
};

TEST_F(CreativeThrottleTest,
       CapsRefuseWithinTheWindowWithoutCountingRefusalsAndAllowAgainOnceExpired) {
  EXPECT_TRUE(process(cap(1, 1)));
  advance(kHour - 1);
  EXPECT_FALSE(process(cap(1, 1)));
  advance(1);  // the delivery is now exactly one hour old: expired
  EXPECT_TRUE(process(cap(1, 1)));
  EXPECT_EQ(count(1000), 1) << "the allowed call dropped the expired delivery";

  // Refusals are not counted and do not extend the block.
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(process(cap(3, 1), 301)) << i;
  for (int i = 0; i < 5; ++i) {
    advance(600);
    EXPECT_FALSE(process(cap(3, 1), 301)) << i;
  }
  EXPECT_EQ(count(1, 301), 3);
  advance(600);  // exactly one hour after the first three
  EXPECT_TRUE(process(cap(3, 1), 301));
}

TEST_F(CreativeThrottleTest, AbsentCapAllowsZeroOrNegativeCapRefusesAndNeitherRecords) {
  EXPECT_TRUE(throttle.process(4660, kSpace, 300, std::nullopt));
  EXPECT_FALSE(process(cap(0, 1)));
  EXPECT_FALSE(process(cap(-5, 1)));
  EXPECT_EQ(throttle.size(), 0u);
  EXPECT_TRUE(process(cap(1, 1)));
  EXPECT_FALSE(process(cap(0, 0))) << "a zero cap refuses even with an empty window";
}

TEST_F(CreativeThrottleTest, ZeroOrNegativeIntervalNeverCountsEarlierDeliveries) {
  for (std::int64_t hours : {0, -1}) {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(process(cap(1, hours), hours)) << hours;
    EXPECT_EQ(count(24, hours), 1) << "each allowed call drops the deliveries before it";
  }
}

TEST_F(CreativeThrottleTest, OverflowingIntervalIsUnboundedAndHugeNegativeCountsNothing) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kFirstOverflow = kMax / 3600 + 1;
  EXPECT_TRUE(process(cap(1, kMax)));
  advance(100 * 365 * 24 * kHour);
  EXPECT_FALSE(process(cap(1, kMax)));
  EXPECT_FALSE(process(cap(1, kFirstOverflow)));
  EXPECT_EQ(count(kMax), 1);
  EXPECT_TRUE(process(cap(1, kMin)));
  EXPECT_TRUE(process(cap(1, -kFirstOverflow)));
}

TEST_F(CreativeThrottleTest, IdentitiesDifferingInAnyFieldAreCappedIndependently) {
  const auto oneADay = cap(1, 24);
  EXPECT_TRUE(throttle.process(4660, kSpace, 300, oneADay));
  EXPECT_TRUE(throttle.process(4660, kSpace, 301, oneADay));
  EXPECT_TRUE(throttle.process(4660, "0a1b2c3d4e5f6072", 300, oneADay));
  EXPECT_TRUE(throttle.process(4661, kSpace, 300, oneADay));
  EXPECT_FALSE(throttle.process(4660, kSpace, 300, oneADay));
  EXPECT_EQ(throttle.size(), 4u);
}

TEST_F(CreativeThrottleTest, EachCallJudgesTheStoredTimesWithTheCapItIsGiven) {
  EXPECT_TRUE(process(cap(5, 24)));
  advance(2 * kHour);
  EXPECT_TRUE(process(cap(5, 24)));
  EXPECT_FALSE(process(cap(1, 1))) << "one delivery within the last hour";
  EXPECT_TRUE(process(cap(3, 24)));
  EXPECT_FALSE(process(cap(3, 24)));
}

TEST_F(CreativeThrottleTest, OtherIdentitiesNeverChangeADecisionAndResetForgetsAll) {
  for (const std::int64_t others : {0, 1024, 5000}) {
    throttle.reset();
    EXPECT_TRUE(process(cap(1, 1)));
    advance(2 * kHour);
    for (std::int64_t binding = 1; binding <= others; ++binding) {
      ASSERT_TRUE(process(cap(1, 1), 1000 + binding));
    }
    EXPECT_FALSE(process(cap(1, 24))) << others << " others: the delivery 2 h ago counts in a day";
    EXPECT_EQ(throttle.size(), static_cast<std::size_t>(others) + 1);
  }
  throttle.reset();
  EXPECT_TRUE(process(cap(1, 24)));
}

TEST_F(CreativeThrottleTest, ConcurrentCallsForOneIdentityAllowExactlyTheCap) {
  std::atomic<int> allowed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) allowed += process(cap(10, 1)) ? 1 : 0;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(allowed.load(), 10);
  EXPECT_EQ(count(1), 10);
}

}  // namespace
}  // namespace lumora
