#include "platform/linux/GLibTimer.hpp"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumora::platform {
namespace {

guint toMilliseconds(double seconds) {
  const double ms = std::ceil(std::max(seconds, 0.0) * 1000.0);
  return static_cast<guint>(std::min(ms, static_cast<double>(G_MAXUINT)));
}

}  // namespace

GLibTimer::GLibTimer(bool repeats, MainQueue::TimerBlock block)
    : repeats_(repeats), block_(std::move(block)) {}

GLibTimer::~GLibTimer() { g_source_unref(source_); }

std::shared_ptr<GLibTimer> GLibTimer::schedule(GMainContext* context, double intervalSeconds,
                                               bool repeats, MainQueue::TimerBlock block) {
  std::shared_ptr<GLibTimer> timer(new GLibTimer(repeats, std::move(block)));
  timer->source_ = g_timeout_source_new(toMilliseconds(intervalSeconds));
  g_source_set_priority(timer->source_, G_PRIORITY_DEFAULT);
  // The source owns a strong reference, released when the source is destroyed
  // (one-shot fired, invalidated, or the block asked to stop).
  g_source_set_callback(timer->source_, &GLibTimer::fire, new std::shared_ptr<GLibTimer>(timer),
                        [](void* data) { delete static_cast<std::shared_ptr<GLibTimer>*>(data); });
  g_source_attach(timer->source_, context);
  return timer;
}

int GLibTimer::fire(void* data) {
  // A local strong reference keeps the timer alive even if the block
  // invalidates it and the source drops its own reference meanwhile.
  const std::shared_ptr<GLibTimer> self = *static_cast<std::shared_ptr<GLibTimer>*>(data);
  if (!self->valid_) return G_SOURCE_REMOVE;
  if (self->block_) self->block_(*self);
  if (self->repeats_ && self->valid_) return G_SOURCE_CONTINUE;
  self->valid_ = false;
  return G_SOURCE_REMOVE;
}

void GLibTimer::invalidate() {
  if (valid_.exchange(false)) g_source_destroy(source_);
}

bool GLibTimer::isValid() const { return valid_; }

}  // namespace lumora::platform
