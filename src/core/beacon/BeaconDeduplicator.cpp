#include "core/beacon/BeaconDeduplicator.hpp"

#include <mutex>
#include <utility>

namespace lumora {
namespace {

constexpr std::size_t kSpaceIdDigits = 16;

/// 0 to 15 for a lower-case hexadecimal digit, -1 for anything else.
int hexDigitValue(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

}  // namespace

BeaconDeduplicator::BeaconDeduplicator(double expirationInterval,
                                       std::shared_ptr<platform::Clock> clock)
    : entryExpirationInterval_(expirationInterval), clock_(std::move(clock)) {}

std::optional<BeaconDeduplicator::Key> BeaconDeduplicator::key(std::int64_t companyId,
                                                               std::string_view spaceId,
                                                               std::int64_t bindingId) noexcept {
  if (spaceId.size() != kSpaceIdDigits) return std::nullopt;
  std::uint64_t space = 0;
  for (const char digit : spaceId) {
    const int value = hexDigitValue(digit);
    if (value < 0) return std::nullopt;
    space = space << 4 | static_cast<std::uint64_t>(value);
  }
  return Key{companyId, space, bindingId};
}

std::size_t BeaconDeduplicator::KeyHash::operator()(const Key& key) const noexcept {
  // The space identifier is already well spread; the small identifiers are
  // spread with odd multipliers before they are mixed in.
  std::uint64_t hash = key.spaceId;
  hash ^= static_cast<std::uint64_t>(key.bindingId) * 0x9E3779B97F4A7C15ULL;
  hash ^= static_cast<std::uint64_t>(key.companyId) * 0xC2B2AE3D27D4EB4FULL;
  return static_cast<std::size_t>(hash ^ hash >> 29);
}

bool BeaconDeduplicator::isFresh(platform::TimePoint timestamp, platform::TimePoint now) const {
  return std::chrono::duration<double>(now - timestamp).count() <= entryExpirationInterval_;
}

bool BeaconDeduplicator::contains(const Key& key) const {
  std::shared_lock lock(mutex_);
  const auto it = entries_.find(key);
  return it != entries_.end() && isFresh(it->second, clock_->now());
}

bool BeaconDeduplicator::contains(std::int64_t companyId, std::string_view spaceId,
                                  std::int64_t bindingId) const {
  const auto entryKey = key(companyId, spaceId, bindingId);
  return entryKey && contains(*entryKey);
}

void BeaconDeduplicator::add(const Key& key) {
  const platform::TimePoint now = clock_->now();
  std::unique_lock lock(mutex_);
  entries_.insert_or_assign(key, now);
}

void BeaconDeduplicator::add(std::int64_t companyId, std::string_view spaceId,
                             std::int64_t bindingId) {
  if (const auto entryKey = key(companyId, spaceId, bindingId)) add(*entryKey);
}

void BeaconDeduplicator::clearExpired() {
  const platform::TimePoint now = clock_->now();
  std::unique_lock lock(mutex_);
  std::erase_if(entries_, [&](const auto& entry) { return !isFresh(entry.second, now); });
}

void BeaconDeduplicator::clearAll() {
  std::unique_lock lock(mutex_);
  entries_.clear();
}

std::size_t BeaconDeduplicator::size() const {
  std::shared_lock lock(mutex_);
  return entries_.size();
}

}  // namespace lumora
