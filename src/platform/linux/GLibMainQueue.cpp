#include "platform/linux/GLibMainQueue.hpp"

#include <glib.h>

#include <utility>

#include "platform/linux/GLibTimer.hpp"

namespace lumora::platform {

GLibMainQueue::GLibMainQueue() : tasks_(std::make_shared<Tasks>()) {}

// Tasks still queued run anyway: the idle source keeps the FIFO alive.
GLibMainQueue::~GLibMainQueue() = default;

void GLibMainQueue::post(Task task) {
  {
    std::lock_guard lock(tasks_->mutex);
    tasks_->pending.push_back(std::move(task));
    if (tasks_->drainScheduled) return;
    tasks_->drainScheduled = true;
    tasks_->keepAlive = tasks_;
  }
  // The source gets the bare pointer: everything it reaches through it is
  // guarded by the FIFO's mutex, so nothing travels unguarded from a posting
  // thread to the main loop.
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, &GLibMainQueue::drain, tasks_.get(), nullptr);
  g_source_attach(source, g_main_context_default());
  g_source_unref(source);
}

int GLibMainQueue::drain(void* data) {
  auto* tasks = static_cast<Tasks*>(data);
  std::deque<Task> batch;
  {
    std::lock_guard lock(tasks->mutex);
    batch.swap(tasks->pending);
  }
  for (Task& task : batch) task();
  std::shared_ptr<Tasks> release;  // outlives the lock below, which it may destroy
  std::lock_guard lock(tasks->mutex);
  if (!tasks->pending.empty()) return G_SOURCE_CONTINUE;
  tasks->drainScheduled = false;
  release = std::move(tasks->keepAlive);
  return G_SOURCE_REMOVE;
}

std::shared_ptr<Timer> GLibMainQueue::scheduleTimer(double intervalSeconds, bool repeats,
                                                    TimerBlock block) {
  return GLibTimer::schedule(g_main_context_default(), intervalSeconds, repeats, std::move(block));
}

}  // namespace lumora::platform
