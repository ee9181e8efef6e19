#include "core/identity/TimeBasedUuid.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <set>

#include "platform/linux/SystemClock.hpp"
#include "platform/sim/VirtualClock.hpp"

namespace lumora {
namespace {

using platform::TimePoint;
using std::chrono::hours;
using std::chrono::seconds;

// 2023-11-14 22:13:20 UTC is 139192928000000000 intervals after the epoch in
// UTC; the epoch is midnight in the device's time zone.
TEST(TimeBasedUuidTest, LayoutAndEpochAtMidnightInTheDevicesTimeZone) {
  constexpr std::uint64_t kUtc = 139192928000000000u;
  const TimeBasedUuid::Node node{0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x23};
  EXPECT_EQ(TimeBasedUuid::fromParts(kUtc, 0x2A5C, node).text(),
            "04AFC000-833B-11EE-AA5C-DEADBEEF0123");
  constexpr std::int64_t kTicksPerSecond = 10'000'000;
  const TimePoint now = platform::VirtualClock::fromSeconds(1700000000);
  struct Case {
    seconds offset;
    std::int64_t expectedShiftSeconds;
  };
  // East of Greenwich local midnight came earlier, so more time has passed;
  // offsets beyond a day are clamped.
  for (const auto& [offset, shift] : {Case{hours{9}, 9 * 3600}, Case{seconds{-17762}, -17762},
                                      Case{hours{1000}, 86'400}, Case{-hours{1000}, -86'400}}) {
    EXPECT_EQ(TimeBasedUuid::timestamp(now, offset), kUtc + shift * kTicksPerSecond)
        << offset.count();
  }
  platform::VirtualClock clock(now);
  clock.setUtcOffset(hours{9});
  const auto uuid = TimeBasedUuid::v1(clock).text();
  EXPECT_EQ(
      uuid.substr(0, 18),
      TimeBasedUuid::fromParts(kUtc + 9 * 3600 * kTicksPerSecond, 0, {}).text().substr(0, 18));

  // The system clock reads the offset of the zone in force.
  const char* saved = std::getenv("TZ");
  const std::string previous = saved ? saved : "";
  setenv("TZ", "JST-9", 1);
  tzset();
  EXPECT_EQ(platform::SystemClock().utcOffset(TimeBasedUuid::kGregorianEpochUtc), hours{9});
  saved ? setenv("TZ", previous.c_str(), 1) : unsetenv("TZ");
  tzset();
}

TEST(TimeBasedUuidTest, TimestampsAreClampedToWhatTheLayoutHoldsAndNeverReachVersionOrVariant) {
  constexpr auto kOffset = TimeBasedUuid::kUnixEpochOffset;
  constexpr auto kMax = TimeBasedUuid::kMaxTimestamp;
  const auto lastFitting = static_cast<std::int64_t>(kMax) - kOffset;
  for (const auto& [ticks, timestamp] :
       {std::pair{-kOffset - 1, std::uint64_t{0}},
        std::pair{std::numeric_limits<std::int64_t>::min(), std::uint64_t{0}},
        std::pair{-kOffset + 1, std::uint64_t{1}}, std::pair{lastFitting, kMax},
        std::pair{lastFitting + 1, kMax},
        std::pair{std::numeric_limits<std::int64_t>::max(), kMax}}) {
    EXPECT_EQ(TimeBasedUuid::timestampFromUnixTicks(ticks), timestamp) << ticks;
  }
  // Ticks are floored, so the instant before the Unix epoch is one interval earlier.
  EXPECT_EQ(TimeBasedUuid::timestamp(TimePoint{} - std::chrono::nanoseconds(1), seconds{0}),
            static_cast<std::uint64_t>(kOffset - 1));
  EXPECT_EQ(TimeBasedUuid::fromParts(~std::uint64_t{0}, 0xFFFF, {}).text(),
            "FFFFFFFF-FFFF-1FFF-BFFF-000000000000");
  EXPECT_EQ(TimeBasedUuid::fromParts(0, 0, {}).text(), "00000000-0000-1000-8000-000000000000");
  for (const TimePoint now : {TimePoint::min(), TimePoint::max(), TimePoint{}}) {
    const std::string text = TimeBasedUuid::v1(platform::VirtualClock(now)).text();
    EXPECT_EQ(text[14], '1') << text;
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
  }
}

TEST(TimeBasedUuidTest, RandomPartsDifferAndStayWithinTheirRanges) {
  const platform::VirtualClock now(platform::VirtualClock::fromSeconds(1700000000));
  std::set<std::string> seen;
  std::set<std::uint8_t> nodeFirstBytes;
  for (int i = 0; i < 200; ++i) {
    const auto uuid = TimeBasedUuid::v1(now);
    const auto& bytes = uuid.bytes();
    const int clockSequence = (bytes[8] & 0x3F) << 8 | bytes[9];
    EXPECT_LT(clockSequence, TimeBasedUuid::kClockSequenceLimit);
    EXPECT_EQ(bytes[8] & 0xC0, 0x80);
    EXPECT_EQ(uuid.text().substr(0, 18), "04AFC000-833B-11EE");
    nodeFirstBytes.insert(bytes[10]);
    seen.insert(uuid.text());
  }
  EXPECT_EQ(seen.size(), 200u);
  EXPECT_GT(nodeFirstBytes.size(), 50u);  // the node is random, not one fixed value
}

}  // namespace
}  // namespace lumora
