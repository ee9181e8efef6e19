#pragma once

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "platform/Clock.hpp"

namespace lumora {

/// Remembers when each beacon identity was last let through, so that repeats
/// within the expiration interval can be suppressed.
///
/// Thread-safe: a reader-writer lock lets lookups run side by side while each
/// write runs alone. Writes complete before they return, so a contains() that
/// follows an add() on any thread sees the added identity. contains() followed
/// by add() is two operations, not one atomic test-and-set.
class BeaconDeduplicator {
 public:
  BeaconDeduplicator(double expirationInterval, std::shared_ptr<platform::Clock> clock);

  /// True when the identity was added no more than the expiration interval ago
  /// (an age of exactly the interval still counts). Neither refreshes nor
  /// removes the entry.
  bool contains(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId) const;
  /// Records the identity with the current time, replacing an earlier entry.
  void add(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId);
  /// Removes every entry older than the expiration interval; an entry exactly
  /// at the interval stays.
  void clearExpired();
  /// Removes every entry.
  void clearAll();
  /// The number of entries held, stale ones included.
  std::size_t size() const;

  /// The entry key: "companyId_spaceId_bindingId", e.g. "4660_0a1b2c3d4e5f6071_300".
  static std::string key(std::int64_t companyId, const std::string& spaceId,
                         std::int64_t bindingId);

 private:
  bool isFresh(platform::TimePoint timestamp, platform::TimePoint now) const;

  const double entryExpirationInterval_;
  const std::shared_ptr<platform::Clock> clock_;
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::string, platform::TimePoint> entries_;
};

}  // namespace lumora
