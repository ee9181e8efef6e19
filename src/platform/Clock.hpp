#pragma once

#include <chrono>

namespace lumora::platform {

using TimePoint = std::chrono::system_clock::time_point;

/// The wall clock. All time in the library comes from here.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() const = 0;
};

}  // namespace lumora::platform
