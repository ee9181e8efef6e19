#include "core/beacon/BeaconDeduplicator.hpp"

#include <mutex>
#include <utility>

namespace lumora {

BeaconDeduplicator::BeaconDeduplicator(double expirationInterval,
                                       std::shared_ptr<platform::Clock> clock)
    : entryExpirationInterval_(expirationInterval), clock_(std::move(clock)) {}

std::string BeaconDeduplicator::key(std::int64_t companyId, const std::string& spaceId,
                                    std::int64_t bindingId) {
  return std::to_string(companyId) + "_" + spaceId + "_" + std::to_string(bindingId);
}

bool BeaconDeduplicator::isFresh(platform::TimePoint timestamp, platform::TimePoint now) const {
  return std::chrono::duration<double>(now - timestamp).count() <= entryExpirationInterval_;
}

bool BeaconDeduplicator::contains(std::int64_t companyId, const std::string& spaceId,
                                  std::int64_t bindingId) const {
  const std::string entryKey = key(companyId, spaceId, bindingId);
  std::shared_lock lock(mutex_);
  const auto it = entries_.find(entryKey);
  return it != entries_.end() && isFresh(it->second, clock_->now());
}

void BeaconDeduplicator::add(std::int64_t companyId, const std::string& spaceId,
                             std::int64_t bindingId) {
  std::string entryKey = key(companyId, spaceId, bindingId);
  const platform::TimePoint now = clock_->now();
  std::unique_lock lock(mutex_);
  entries_.insert_or_assign(std::move(entryKey), now);
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
