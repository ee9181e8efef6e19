#pragma once

#include <functional>
#include <memory>

#include "platform/Timer.hpp"

namespace lumora::platform {

/// The host's main loop: a serial queue of tasks and timers. post() and
/// scheduleTimer() may be called from any thread; tasks and timer blocks run
/// on the main loop, tasks in the order they were posted.
class MainQueue {
 public:
  using Task = std::function<void()>;
  using TimerBlock = std::function<void(Timer&)>;

  virtual ~MainQueue() = default;
  /// Runs the task on a later turn of the loop, never inline.
  virtual void post(Task task) = 0;
  /// Fires the block after intervalSeconds, and then every intervalSeconds when
  /// it repeats, until invalidated. A one-shot timer is invalid after it fired.
  virtual std::shared_ptr<Timer> scheduleTimer(double intervalSeconds, bool repeats,
                                               TimerBlock block) = 0;
};

}  // namespace lumora::platform
