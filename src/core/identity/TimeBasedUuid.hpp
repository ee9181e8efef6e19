#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "core/util/Uuid.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// Version-1 (time-based) UUIDs with a random clock sequence and a random node,
/// as the installation identifier uses them.
///
/// The timestamp counts 100-nanosecond intervals since midnight at the start
/// of 15 October 1582 (the Gregorian reform) in the device's time zone: the
/// epoch is a calendar date read in local time, so a device east of Greenwich
/// counts from an earlier instant than one in UTC.
class TimeBasedUuid {
 public:
  using Node = std::array<std::uint8_t, 6>;

  /// Midnight UTC at the start of 15 October 1582.
  static constexpr std::chrono::sys_seconds kGregorianEpochUtc =
      std::chrono::sys_days{std::chrono::October / 15 / 1582};
  /// 100-ns intervals from the Gregorian epoch (in UTC) to the Unix epoch.
  static constexpr std::int64_t kUnixEpochOffset = 122'192'928'000'000'000;
  /// The largest timestamp the layout holds (60 bits).
  static constexpr std::uint64_t kMaxTimestamp = (std::uint64_t{1} << 60) - 1;
  /// Clock sequences are drawn from 0 to kClockSequenceLimit - 1.
  static constexpr std::uint16_t kClockSequenceLimit = 0x3FFF;

  /// A new identifier for the clock's time now, counted from the epoch in
  /// the clock's time zone, with a fresh random clock sequence and node.
  static Uuid v1(const platform::Clock& clock);

  /// The timestamp for a point in time, counted from the epoch's midnight in
  /// a zone that was epochUtcOffset ahead of UTC then (clamped to a day
  /// either way); clamped to 0 before the epoch and to kMaxTimestamp beyond
  /// what 60 bits hold.
  static std::uint64_t timestamp(platform::TimePoint now, std::chrono::seconds epochUtcOffset);
  /// The same, from 100-ns intervals since the Unix epoch (any value).
  static std::uint64_t timestampFromUnixTicks(std::int64_t ticksSinceUnixEpoch);

  /// Lays out the 16 bytes: time_low, time_mid, version 1 with time_high, the
  /// variant with the clock sequence, then the node.
  static Uuid fromParts(std::uint64_t timestamp, std::uint16_t clockSequence, const Node& node);
};

}  // namespace lumora
