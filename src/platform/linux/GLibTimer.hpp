#pragma once

#include <atomic>
#include <memory>

#include "platform/MainQueue.hpp"
#include "platform/Timer.hpp"

typedef struct _GMainContext GMainContext;
typedef struct _GSource GSource;

namespace lumora::platform {

/// A timer backed by a GLib timeout source. The source keeps the timer alive
/// while it is attached (like a run loop retaining its timers), so dropping the
/// returned pointer does not stop it; invalidate() does, from any thread and
/// from inside the block. A block that is running when the timer is
/// invalidated finishes normally and is not called again.
class GLibTimer : public Timer, public std::enable_shared_from_this<GLibTimer> {
 public:
  static std::shared_ptr<GLibTimer> schedule(GMainContext* context, double intervalSeconds,
                                             bool repeats, MainQueue::TimerBlock block);
  ~GLibTimer() override;

  GLibTimer(const GLibTimer&) = delete;
  GLibTimer& operator=(const GLibTimer&) = delete;

  void invalidate() override;
  bool isValid() const override;

 private:
  GLibTimer(bool repeats, MainQueue::TimerBlock block);
  static int fire(void* data);

  const bool repeats_;
  const MainQueue::TimerBlock block_;
  std::atomic<bool> valid_{true};
  GSource* source_ = nullptr;  // set once before the source is attached
};

}  // namespace lumora::platform
