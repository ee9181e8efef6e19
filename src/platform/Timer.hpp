#pragma once

namespace lumora::platform {

/// A scheduled timer. Invalidating it (also from inside its own block) stops
/// any further firing.
class Timer {
 public:
  virtual ~Timer() = default;
  virtual void invalidate() = 0;
  virtual bool isValid() const = 0;
};

}  // namespace lumora::platform
