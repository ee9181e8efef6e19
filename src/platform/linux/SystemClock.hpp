#pragma once

#include "platform/Clock.hpp"

namespace lumora::platform {

/// The real wall clock.
class SystemClock : public Clock {
 public:
  TimePoint now() const override;
};

}  // namespace lumora::platform
