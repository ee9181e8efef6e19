#include "platform/sim/VirtualMainQueue.hpp"

#include <algorithm>
#include <atomic>

namespace lumora::platform {
namespace {

std::int64_t ticksOf(TimePoint time) { return time.time_since_epoch().count(); }

std::int64_t ticksOf(double seconds) {
  return std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(seconds))
      .count();
}

// A repeating timer with a non-positive interval would fire forever at one
// instant; like the platform's timers it fires every 0.1 ms instead.
constexpr double kMinimumRepeatInterval = 0.0001;

}  // namespace

class VirtualMainQueue::VirtualTimer : public Timer {
 public:
  void invalidate() override { valid_.store(false); }
  bool isValid() const override { return valid_.load(); }

 private:
  std::atomic<bool> valid_{true};
};

// A posted task (no timer) or a timer firing.
class VirtualMainQueue::Entry {
 public:
  Task task;
  TimerBlock block;
  std::shared_ptr<VirtualTimer> timer;
  std::int64_t interval = 0;
  bool repeats = false;
};

VirtualMainQueue::VirtualMainQueue(std::shared_ptr<VirtualClock> clock)
    : clock_(std::move(clock)) {}

VirtualMainQueue::~VirtualMainQueue() {
  // Entries may hold the last references to objects whose destructors post
  // again; release them outside the lock.
  std::map<Key, std::shared_ptr<Entry>> entries;
  {
    std::lock_guard lock(mutex_);
    entries.swap(entries_);
  }
}

void VirtualMainQueue::insert(std::int64_t due, std::shared_ptr<Entry> entry) {
  {
    std::lock_guard lock(mutex_);
    entries_.emplace(Key{due, nextSequence_++}, std::move(entry));
  }
  changed_.notify_all();
}

void VirtualMainQueue::post(Task task) {
  auto entry = std::make_shared<Entry>();
  entry->task = std::move(task);
  insert(ticksOf(clock_->now()), std::move(entry));
}

std::shared_ptr<Timer> VirtualMainQueue::scheduleTimer(double intervalSeconds, bool repeats,
                                                       TimerBlock block) {
  auto entry = std::make_shared<Entry>();
  entry->block = std::move(block);
  entry->timer = std::make_shared<VirtualTimer>();
  entry->repeats = repeats;
  entry->interval = ticksOf(repeats ? std::max(intervalSeconds, kMinimumRepeatInterval)
                                    : std::max(intervalSeconds, 0.0));
  auto timer = entry->timer;
  const std::int64_t due = ticksOf(clock_->now()) + entry->interval;
  insert(due, std::move(entry));
  return timer;
}

std::shared_ptr<VirtualMainQueue::Entry> VirtualMainQueue::takeDue(std::int64_t now) {
  std::lock_guard lock(mutex_);
  for (auto it = entries_.begin(); it != entries_.end() && it->first.first <= now;) {
    auto entry = std::move(it->second);
    it = entries_.erase(it);
    if (!entry->timer || entry->timer->isValid()) return entry;
  }
  return nullptr;
}

void VirtualMainQueue::fire(const std::shared_ptr<Entry>& entry) {
  if (!entry->timer) {
    entry->task();
    return;
  }
  if (!entry->repeats) entry->timer->invalidate();
  entry->block(*entry->timer);
  if (entry->repeats && entry->timer->isValid()) {
    insert(ticksOf(clock_->now()) + entry->interval, entry);
  }
}

std::size_t VirtualMainQueue::runReady() {
  std::size_t ran = 0;
  while (auto entry = takeDue(ticksOf(clock_->now()))) {
    fire(entry);
    ++ran;
  }
  return ran;
}

std::optional<std::int64_t> VirtualMainQueue::nextDueLocked() const {
  for (const auto& [key, entry] : entries_) {
    if (!entry->timer || entry->timer->isValid()) return key.first;
  }
  return std::nullopt;
}

void VirtualMainQueue::moveClockTo(std::int64_t due) {
  if (due > ticksOf(clock_->now())) clock_->setNow(TimePoint(TimePoint::duration(due)));
}

bool VirtualMainQueue::advanceToNextTimer() {
  std::optional<std::int64_t> due;
  {
    std::lock_guard lock(mutex_);
    due = nextDueLocked();
  }
  if (due) moveClockTo(*due);
  return due.has_value();
}

void VirtualMainQueue::runUntil(TimePoint end) {
  const std::int64_t endTicks = ticksOf(end);
  for (;;) {
    runReady();
    std::unique_lock lock(mutex_);
    if (externalWork_ > 0) {
      const auto now = ticksOf(clock_->now());
      changed_.wait(lock, [&] {
        return externalWork_ == 0 || (!entries_.empty() && entries_.begin()->first.first <= now);
      });
      continue;
    }
    const auto due = nextDueLocked();
    if (!due || *due > endTicks) break;
    lock.unlock();
    moveClockTo(*due);
  }
  moveClockTo(endTicks);
}

void VirtualMainQueue::runFor(double seconds) {
  runUntil(clock_->now() +
           std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(seconds)));
}

std::size_t VirtualMainQueue::pendingCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      entries_.begin(), entries_.end(),
      [](const auto& item) { return !item.second->timer || item.second->timer->isValid(); }));
}

void VirtualMainQueue::beginExternalWork() {
  std::lock_guard lock(mutex_);
  ++externalWork_;
}

void VirtualMainQueue::endExternalWork() {
  {
    std::lock_guard lock(mutex_);
    --externalWork_;
  }
  changed_.notify_all();
}

}  // namespace lumora::platform
