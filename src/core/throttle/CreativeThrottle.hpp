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
/// What is remembered never changes a decision. A later creative for the same
/// beacon may carry any window, up to an unbounded one, so a delivery can
/// count again however old it is: no identity is ever forgotten by age.
/// Memory stays proportional to what was delivered: an identity enters only
/// with an allowed delivery, and an allowed call keeps only the deliveries
/// inside its window, fewer than its maxFrequency, plus the new one.
///
/// Thread-safe: every operation runs under one mutex.
class CreativeThrottle {
 public:
  explicit CreativeThrottle(std::shared_ptr<platform::Clock> clock);

  /// True when a delivery is allowed now, in which case it is recorded. An
  /// absent cap allows and records nothing. A refusal leaves the history of
  /// deliveries as it was.
  bool process(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId,
               const std::optional<Creative::FrequencyCapping>& frequencyCapping);
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
  };

  /// intervalHours × 3600, or ±infinity when the product overflows.
  static double windowSeconds(std::int64_t intervalHours);
  /// The timestamps strictly later than now minus windowSeconds, in order.
  static std::vector<platform::TimePoint> filterValidTimestamps(
      const std::vector<platform::TimePoint>& timestamps, double windowSeconds,
      platform::TimePoint now);

  const std::shared_ptr<platform::Clock> clock_;
  mutable std::mutex mutex_;
  std::unordered_map<CreativeKey, ProcessingRecord, CreativeKeyHash> processingHistory_;
};

}  // namespace lumora
