#include "platform/sim/VirtualClock.hpp"

namespace lumora::platform {
namespace {

TimePoint::duration toDuration(double seconds) {
  return std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

VirtualClock::VirtualClock(TimePoint start) : ticks_(start.time_since_epoch().count()) {}

TimePoint VirtualClock::now() const { return TimePoint(TimePoint::duration(ticks_.load())); }

std::chrono::seconds VirtualClock::utcOffset(std::chrono::sys_seconds) const {
  return std::chrono::seconds(offsetSeconds_.load());
}

void VirtualClock::setNow(TimePoint time) { ticks_.store(time.time_since_epoch().count()); }

void VirtualClock::setUtcOffset(std::chrono::seconds offset) {
  offsetSeconds_.store(offset.count());
}

void VirtualClock::advance(double seconds) { ticks_.fetch_add(toDuration(seconds).count()); }

TimePoint VirtualClock::fromSeconds(double secondsSince1970) {
  return TimePoint(toDuration(secondsSince1970));
}

}  // namespace lumora::platform
