#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

#include "core/beacon/BeaconIdentity.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// Remembers when each beacon identity was last let through, so that repeats
/// within the expiration interval can be suppressed.
///
/// Identities are kept under a packed integer key, so a lookup builds no text.
/// The space identifier is the parser's sixteen lower-case hexadecimal digits;
/// an identity with any other space text has no key and is never a repeat.
///
/// Thread-safe: a reader-writer lock lets lookups run side by side while each
/// write runs alone. Writes complete before they return, so a contains() that
/// follows an add() on any thread sees the added identity. contains() followed
/// by add() is two operations, not one atomic test-and-set.
class BeaconDeduplicator {
 public:
  /// A beacon identity as integers; the space identifier's digits read as one
  /// 64-bit number.
  using Key = BeaconIdentity;

  BeaconDeduplicator(double expirationInterval, std::shared_ptr<platform::Clock> clock);

  /// The identity's key; nothing when spaceId is not sixteen lower-case
  /// hexadecimal digits.
  static std::optional<Key> key(std::int64_t companyId, std::string_view spaceId,
                                std::int64_t bindingId) noexcept;

  /// True when the identity was added no more than the expiration interval ago
  /// (an age of exactly the interval still counts). Neither refreshes nor
  /// removes the entry.
  bool contains(const Key& key) const;
  bool contains(std::int64_t companyId, std::string_view spaceId, std::int64_t bindingId) const;
  /// Records the identity with the current time, replacing an earlier entry.
  void add(const Key& key);
  void add(std::int64_t companyId, std::string_view spaceId, std::int64_t bindingId);
  /// Removes every entry older than the expiration interval; an entry exactly
  /// at the interval stays.
  void clearExpired();
  /// Removes every entry.
  void clearAll();
  /// The number of entries held, stale ones included.
  std::size_t size() const;

 private:
  bool isFresh(platform::TimePoint timestamp, platform::TimePoint now) const;

  const double entryExpirationInterval_;
  const std::shared_ptr<platform::Clock> clock_;
  mutable std::shared_mutex mutex_;
  std::unordered_map<Key, platform::TimePoint, Key::Hash> entries_;
};

}  // namespace lumora
