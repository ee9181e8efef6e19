#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "platform/MainQueue.hpp"

namespace lumora::platform {

/// The main queue on the process's default GLib main context
/// (g_main_context_default()), the loop that GTK and Qt applications on Linux
/// already run and that a plain program runs with g_main_loop_run().
///
/// Posted tasks wait in one FIFO drained by a single idle source, so they run
/// in post order whatever thread posted them; each drain runs only the tasks
/// that were queued when it began, so a task that posts again yields the loop
/// to other sources first. Timers are GLib timeout sources (see GLibTimer).
class GLibMainQueue : public MainQueue {
 public:
  GLibMainQueue();
  ~GLibMainQueue() override;

  void post(Task task) override;
  std::shared_ptr<Timer> scheduleTimer(double intervalSeconds, bool repeats,
                                       TimerBlock block) override;

 private:
  /// The FIFO and whether an idle source is attached to drain it. While one
  /// is, the FIFO holds itself alive, so that a drain pending at destruction
  /// stays safe.
  struct Tasks {
    std::mutex mutex;
    std::deque<Task> pending;
    bool drainScheduled = false;
    std::shared_ptr<Tasks> keepAlive;
  };

  static int drain(void* data);

  std::shared_ptr<Tasks> tasks_;
};

}  // namespace lumora::platform
