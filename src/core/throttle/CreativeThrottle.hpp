#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/net/Creative.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// Applies creatives' frequency caps per beacon identity (company, space,
/// binding): at most maxFrequency deliveries within the last intervalHours
/// hours. The cap belongs to the beacon, not to the creative served for it.
///
/// The window slides back from the moment of each call; a delivery exactly
/// intervalHours old has expired. Only allowed deliveries are recorded. An
/// interval whose length in seconds does not fit in 64 bits is unbounded
/// (every delivery ever recorded counts); a hugely negative one counts none.
///
/// The history is bounded: once the number of tracked identities has grown
/// past a threshold, identities whose every delivery has expired under the
/// window they were last judged with are forgotten, and the threshold becomes
/// twice the number kept. Forgetting cannot change a later decision made with
/// the same or a shorter window. Because the threshold doubles with what is
/// kept, the cost of pruning spreads over the insertions that led to it: a
/// call costs O(1) amortised plus one pass over the identity's own deliveries.
///
/// Thread-safe: every operation runs under one mutex.
class CreativeThrottle {
 public:
  static constexpr std::size_t kDefaultPruneThreshold = 1024;

  explicit CreativeThrottle(std::shared_ptr<platform::Clock> clock,
                            std::size_t pruneThreshold = kDefaultPruneThreshold);

  /// True when a delivery is allowed now, in which case it is recorded. An
  /// absent cap allows and records nothing. A refusal leaves the history of
  /// deliveries as it was.
  bool process(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId,
               const std::optional<Creative::FrequencyCapping>& frequencyCapping);
  /// Drops expired deliveries of every identity, and identities left with
  /// none, each judged with the window it was last judged with.
  void cleanupExpiredRecords();
  /// The number of recorded deliveries for the identity within the last
  /// withinHours hours (same window rules as process).
  std::int64_t getProcessingCount(std::int64_t companyId, const std::string& spaceId,
                                  std::int64_t bindingId, std::int64_t withinHours) const;
  /// Forgets every identity: all caps start afresh, as after a restart.
  void reset();
  /// The number of identities currently tracked.
  std::size_t size() const;

 private:
  struct CreativeKey {
    std::int64_t companyId;
    std::string spaceId;
    std::int64_t bindingId;
    friend bool operator==(const CreativeKey&, const CreativeKey&) = default;
  };
  struct CreativeKeyHash {
    std::size_t operator()(const CreativeKey& key) const noexcept;
  };
  struct ProcessingRecord {
    /// Allowed delivery times, oldest first.
    std::vector<platform::TimePoint> timestamps;
    /// Window length, in seconds, of the cap this identity was last judged with.
    double windowSeconds = 0;
  };

  /// intervalHours × 3600, or ±infinity when the product overflows.
  static double windowSeconds(std::int64_t intervalHours);
  /// The timestamps strictly later than now minus windowSeconds, in order.
  static std::vector<platform::TimePoint> filterValidTimestamps(
      const std::vector<platform::TimePoint>& timestamps, double windowSeconds,
      platform::TimePoint now);
  void pruneLocked(platform::TimePoint now);

  const std::shared_ptr<platform::Clock> clock_;
  const std::size_t minimumPruneThreshold_;
  mutable std::mutex mutex_;
  std::unordered_map<CreativeKey, ProcessingRecord, CreativeKeyHash> processingHistory_;
  std::size_t pruneThreshold_;
};

}  // namespace lumora
