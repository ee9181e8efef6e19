#pragma once

#include "platform/Clock.hpp"

namespace lumora::platform {

/// The real wall clock, in the time zone the C library reads (TZ, else
/// /etc/localtime).
class SystemClock : public Clock {
 public:
  TimePoint now() const override;
  std::chrono::seconds utcOffset(std::chrono::sys_seconds at) const override;
};

}  // namespace lumora::platform
