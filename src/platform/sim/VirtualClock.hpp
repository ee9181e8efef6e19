#pragma once

#include <atomic>
#include <cstdint>

#include "platform/Clock.hpp"

namespace lumora::platform {

/// A wall clock that only moves when told to, in a time zone with one fixed
/// offset from UTC (zero unless set). Safe to read from any thread.
class VirtualClock : public Clock {
 public:
  explicit VirtualClock(TimePoint start = TimePoint{});

  TimePoint now() const override;
  std::chrono::seconds utcOffset(std::chrono::sys_seconds at) const override;
  void setNow(TimePoint time);
  void setUtcOffset(std::chrono::seconds offset);
  void advance(double seconds);

  /// seconds since 1970 as a time point, to the clock's resolution.
  static TimePoint fromSeconds(double secondsSince1970);

 private:
  std::atomic<std::int64_t> ticks_;
  std::atomic<std::int64_t> offsetSeconds_{0};
};

}  // namespace lumora::platform
