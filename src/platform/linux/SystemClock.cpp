#include "platform/linux/SystemClock.hpp"

#include <ctime>

namespace lumora::platform {

TimePoint SystemClock::now() const { return std::chrono::system_clock::now(); }

std::chrono::seconds SystemClock::utcOffset(std::chrono::sys_seconds at) const {
  const std::time_t seconds = at.time_since_epoch().count();
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return {};
  return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace lumora::platform
