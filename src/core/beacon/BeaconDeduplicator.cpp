#include "core/beacon/BeaconDeduplicator.hpp"

#include <mutex>
#include <utility>

namespace lumora {

BeaconDeduplicator::BeaconDeduplicator(double expirationInterval,
                                       std::shared_ptr<platform::Clock> clock)
    : entryExpirationInterval_(expirationInterval), clock_(std::move(clock)) {}

std::optional<BeaconDeduplicator::Key> BeaconDeduplicator::key(std::int64_t companyId,
                                                               std::string_view spaceId,
                                                               std::int64_t bindingId) noexcept {
  return BeaconIdentity::fromText(companyId, spaceId, bindingId);
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
