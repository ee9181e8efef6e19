#pragma once

#include <array>
#include <cstdint>

#include "core/util/Uuid.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// Version-1 (time-based) UUIDs with a random clock sequence and a random node,
/// as the installation identifier uses them.
///
/// The timestamp counts 100-nanosecond intervals since midnight UTC at the
/// start of 15 October 1582 (the Gregorian reform). The epoch is taken in UTC,
/// not in the device's time zone, so the identifier carries a true RFC 4122
/// timestamp whatever zone the device is set to; nothing ever decodes the time
/// back, so the only effect of the choice is a shift of at most a day.
class TimeBasedUuid {
 public:
  using Node = std::array<std::uint8_t, 6>;

  /// 100-ns intervals from the Gregorian epoch to the Unix epoch.
  static constexpr std::int64_t kUnixEpochOffset = 122'192'928'000'000'000;
  /// The largest timestamp the layout holds (60 bits).
  static constexpr std::uint64_t kMaxTimestamp = (std::uint64_t{1} << 60) - 1;
  /// Clock sequences are drawn from 0 to kClockSequenceLimit - 1.
  static constexpr std::uint16_t kClockSequenceLimit = 0x3FFF;

  /// A new identifier for the time now, with a fresh random clock sequence and node.
  static Uuid v1(platform::TimePoint now);

  /// The timestamp for a point in time, clamped to 0 before the epoch and to
  /// kMaxTimestamp beyond what 60 bits hold.
  static std::uint64_t timestamp(platform::TimePoint now);
  /// The same, from 100-ns intervals since the Unix epoch (any value).
  static std::uint64_t timestampFromUnixTicks(std::int64_t ticksSinceUnixEpoch);

  /// Lays out the 16 bytes: time_low, time_mid, version 1 with time_high, the
  /// variant with the clock sequence, then the node.
  static Uuid fromParts(std::uint64_t timestamp, std::uint16_t clockSequence, const Node& node);
};

}  // namespace lumora
