#include "platform/linux/SystemClock.hpp"

namespace lumora::platform {

TimePoint SystemClock::now() const { return std::chrono::system_clock::now(); }

}  // namespace lumora::platform
