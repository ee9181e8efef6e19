#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/beacon/BeaconDeduplicator.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

const std::string kSpace = "0a1b2c3d4e5f6071";

class BeaconDeduplicatorTest : public testing::SimWorld {
 protected:
  void advance(double seconds) { platform->virtualClock->advance(seconds); }

  BeaconDeduplicator deduplicator{30.0, platform->clock()};
};

TEST_F(BeaconDeduplicatorTest,
       KeyPacksTheSpaceDigitsAndAnIdentityRepeatsForThirtySecondsFromItsLastAdd) {
  EXPECT_EQ(BeaconDeduplicator::key(4660, "0123456789abcdef", 300),
            (BeaconDeduplicator::Key{4660, 0x0123456789abcdef, 300}));
  EXPECT_EQ(BeaconDeduplicator::key(-1, "ffffffffffffffff", -2),
            (BeaconDeduplicator::Key{-1, ~0ULL, -2}));
  for (const std::string space :
       {"0A1B2C3D4E5F6071", "0a1b2c3d4e5f607", "0a1b2c3d4e5f60711", "0a1b2c3d4e5f607g", ""}) {
    EXPECT_EQ(BeaconDeduplicator::key(4660, space, 300), std::nullopt) << space;
    deduplicator.add(4660, space, 300);
    EXPECT_FALSE(deduplicator.contains(4660, space, 300)) << space;
  }
  EXPECT_EQ(deduplicator.size(), 0u);

  // A repeat up to and including 30 s after the add; checking does not extend
  // the window, a second add restarts it; identities differing in any field
  // are independent.
  EXPECT_FALSE(deduplicator.contains(4660, kSpace, 300));
  deduplicator.add(4660, kSpace, 300);
  EXPECT_FALSE(deduplicator.contains(4660, kSpace, 301));
  EXPECT_FALSE(deduplicator.contains(4660, "0a1b2c3d4e5f6072", 300));
  EXPECT_FALSE(deduplicator.contains(4661, kSpace, 300));
  advance(20.0);
  EXPECT_TRUE(deduplicator.contains(4660, kSpace, 300));
  advance(10.0);
  EXPECT_TRUE(deduplicator.contains(4660, kSpace, 300)) << "exactly 30.0 s is still a repeat";
  advance(0.001);
  EXPECT_FALSE(deduplicator.contains(4660, kSpace, 300));
  EXPECT_EQ(deduplicator.size(), 1u) << "contains never removes an entry";

  deduplicator.add(4660, kSpace, 300);
  advance(25.0);
  EXPECT_TRUE(deduplicator.contains(4660, kSpace, 300)) << "window restarts at the second add";
}

TEST_F(BeaconDeduplicatorTest, ClearExpiredKeepsEntriesAtOrUnderTheIntervalAndClearAllEmpties) {
  deduplicator.add(4660, kSpace, 1);
  advance(2.0);
  deduplicator.add(4660, kSpace, 2);
  advance(27.0);  // ages 29 s and 27 s
  deduplicator.clearExpired();
  EXPECT_EQ(deduplicator.size(), 2u);

  advance(1.0);  // age exactly 30 s stays
  deduplicator.clearExpired();
  EXPECT_EQ(deduplicator.size(), 2u);

  advance(1.0);  // ages 31 s and 29 s
  deduplicator.clearExpired();
  EXPECT_EQ(deduplicator.size(), 1u);
  EXPECT_FALSE(deduplicator.contains(4660, kSpace, 1));
  EXPECT_TRUE(deduplicator.contains(4660, kSpace, 2));

  deduplicator.clearAll();
  EXPECT_EQ(deduplicator.size(), 0u);
}

TEST_F(BeaconDeduplicatorTest, ConcurrentReadersAndWritersSeeTheirOwnWrites) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  std::atomic<int> misses{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        const std::int64_t binding = t * kRounds + i;
        deduplicator.add(4660, kSpace, binding);
        if (!deduplicator.contains(4660, kSpace, binding)) ++misses;
        deduplicator.contains(4660, kSpace, binding + 1);
        if (i % 100 == 0) deduplicator.clearExpired();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(misses.load(), 0);
  EXPECT_TRUE(deduplicator.contains(4660, kSpace, 0)) << "written on another thread";
  EXPECT_EQ(deduplicator.size(), static_cast<std::size_t>(kThreads * kRounds));
}

}  // namespace
}  // namespace lumora
