#pragma once

#include <chrono>

namespace lumora::platform {

using TimePoint = std::chrono::system_clock::time_point;

/// The wall clock and the device's time zone. All time in the library comes
/// from here.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() const = 0;
  /// The device's current time zone's offset from UTC at the instant `at`
  /// (local time = UTC + offset). Takes whole seconds so that it reaches far
  /// into the past, where the zone's historical rules apply.
  virtual std::chrono::seconds utcOffset(std::chrono::sys_seconds at) const = 0;
};

}  // namespace lumora::platform
