#include "core/identity/TimeBasedUuid.hpp"

#include <algorithm>
#include <chrono>
#include <random>
#include <ratio>

namespace lumora {
namespace {

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

// Converting the clock's duration to 100-ns ticks must divide, never multiply,
// so that it cannot overflow.
static_assert(std::ratio_less_equal_v<platform::TimePoint::period, Ticks::period>);

struct Randomness {
  std::uint16_t clockSequence;
  TimeBasedUuid::Node node;
};

Randomness drawRandomness() {
  std::random_device device;
  std::uniform_int_distribution<int> sequence(0, TimeBasedUuid::kClockSequenceLimit - 1);
  std::uniform_int_distribution<int> byte(0, 255);
  Randomness result{static_cast<std::uint16_t>(sequence(device)), {}};
  for (auto& b : result.node) b = static_cast<std::uint8_t>(byte(device));
  return result;
}

}  // namespace

Uuid TimeBasedUuid::v1(const platform::Clock& clock) {
  const Randomness random = drawRandomness();
  return fromParts(timestamp(clock.now(), clock.utcOffset(kGregorianEpochUtc)),
                   random.clockSequence, random.node);
}

std::uint64_t TimeBasedUuid::timestamp(platform::TimePoint now,
                                       std::chrono::seconds epochUtcOffset) {
  // Local midnight comes epochUtcOffset before UTC midnight, so that much more
  // time has passed since it. Both terms are far from the 64-bit limits.
  constexpr std::chrono::seconds kDay{86'400};
  const auto offset = std::clamp(epochUtcOffset, -kDay, kDay);
  const auto sinceUnixEpoch = std::chrono::floor<Ticks>(now.time_since_epoch());
  return timestampFromUnixTicks((sinceUnixEpoch + Ticks(offset)).count());
}

std::uint64_t TimeBasedUuid::timestampFromUnixTicks(std::int64_t ticksSinceUnixEpoch) {
  // Compared before adding, so that neither end can overflow.
  if (ticksSinceUnixEpoch < -kUnixEpochOffset) return 0;
  const auto headroom = static_cast<std::int64_t>(kMaxTimestamp) - kUnixEpochOffset;
  if (ticksSinceUnixEpoch > headroom) return kMaxTimestamp;
  return static_cast<std::uint64_t>(ticksSinceUnixEpoch + kUnixEpochOffset);
}

Uuid TimeBasedUuid::fromParts(std::uint64_t timestamp, std::uint16_t clockSequence,
                              const Node& node) {
  const auto timeLow = static_cast<std::uint32_t>(timestamp);
  const auto timeMid = static_cast<std::uint16_t>(timestamp >> 32);
  const auto timeHighAndVersion = static_cast<std::uint16_t>(((timestamp >> 48) & 0x0FFF) | 0x1000);
  Uuid::Bytes bytes{};
  bytes[0] = static_cast<std::uint8_t>(timeLow >> 24);
  bytes[1] = static_cast<std::uint8_t>(timeLow >> 16);
  bytes[2] = static_cast<std::uint8_t>(timeLow >> 8);
  bytes[3] = static_cast<std::uint8_t>(timeLow);
  bytes[4] = static_cast<std::uint8_t>(timeMid >> 8);
  bytes[5] = static_cast<std::uint8_t>(timeMid);
  bytes[6] = static_cast<std::uint8_t>(timeHighAndVersion >> 8);
  bytes[7] = static_cast<std::uint8_t>(timeHighAndVersion);
  bytes[8] = static_cast<std::uint8_t>(0x80 | ((clockSequence >> 8) & 0x3F));
  bytes[9] = static_cast<std::uint8_t>(clockSequence);
  for (std::size_t i = 0; i < node.size(); ++i) bytes[10 + i] = node[i];
  return Uuid(bytes);
}

}  // namespace lumora
