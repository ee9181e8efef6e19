#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/MainQueue.hpp"
#include "platform/sim/VirtualClock.hpp"

namespace lumora::platform {

/// A main queue on virtual time. Tasks and timers run by due time, then by the
/// order in which they were posted or scheduled. Nothing runs until the owner
/// drives the queue; the clock moves only to the next timer, and only when no
/// task is ready and no external work (an HTTP request in flight) is pending.
///
///   auto clock = std::make_shared<VirtualClock>();
///   VirtualMainQueue queue(clock);
///   queue.scheduleTimer(10.0, false, [](Timer&) { ... });
///   queue.runFor(10.0);  // fires the timer at once, clock now 10 s later
class VirtualMainQueue : public MainQueue {
 public:
  explicit VirtualMainQueue(std::shared_ptr<VirtualClock> clock);
  ~VirtualMainQueue() override;

  void post(Task task) override;
  std::shared_ptr<Timer> scheduleTimer(double intervalSeconds, bool repeats,
                                       TimerBlock block) override;

  /// Runs everything due now, including work that becomes due while running.
  /// Returns how many tasks and timer firings ran.
  std::size_t runReady();
  /// Moves the clock to the next timer when nothing is ready; false when there is none.
  bool advanceToNextTimer();
  /// Runs until the given time: ready work, then each timer at its due time,
  /// waiting for external work to finish before moving the clock. Ends with
  /// the clock at `end` (or later, if it already was).
  void runUntil(TimePoint end);
  void runFor(double seconds);
  /// Ready tasks and pending timers.
  std::size_t pendingCount() const;

  /// Marks work outside the queue (a request on another thread) that will post
  /// back; virtual time does not move while any is pending.
  void beginExternalWork();
  void endExternalWork();

 private:
  class Entry;
  class VirtualTimer;
  using Key = std::pair<std::int64_t, std::uint64_t>;  // due ticks, sequence

  void insert(std::int64_t due, std::shared_ptr<Entry> entry);
  std::shared_ptr<Entry> takeDue(std::int64_t now);
  void fire(const std::shared_ptr<Entry>& entry);
  /// The due time of the earliest live entry; call with mutex_ held.
  std::optional<std::int64_t> nextDueLocked() const;
  void moveClockTo(std::int64_t due);

  std::shared_ptr<VirtualClock> clock_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<Key, std::shared_ptr<Entry>> entries_;
  std::uint64_t nextSequence_ = 0;
  std::int64_t externalWork_ = 0;
};

}  // namespace lumora::platform
