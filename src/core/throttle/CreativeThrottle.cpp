#include "core/throttle/CreativeThrottle.hpp"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

namespace lumora {
namespace {

constexpr std::int64_t kSecondsPerHour = 3600;

bool isWithinWindow(platform::TimePoint timestamp, double windowSeconds, platform::TimePoint now) {
  return std::chrono::duration<double>(now - timestamp).count() < windowSeconds;
}

}  // namespace

std::size_t CreativeThrottle::CreativeKeyHash::operator()(const CreativeKey& key) const noexcept {
  std::size_t seed = std::hash<std::int64_t>{}(key.companyId);
  const auto combine = [&seed](std::size_t value) {
    seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
  };
  combine(std::hash<std::string>{}(key.spaceId));
  combine(std::hash<std::int64_t>{}(key.bindingId));
  return seed;
}

CreativeThrottle::CreativeThrottle(std::shared_ptr<platform::Clock> clock)
    : clock_(std::move(clock)) {}

double CreativeThrottle::windowSeconds(std::int64_t intervalHours) {
  std::int64_t seconds = 0;
  if (__builtin_mul_overflow(intervalHours, kSecondsPerHour, &seconds)) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    return intervalHours > 0 ? kInfinity : -kInfinity;
  }
  return static_cast<double>(seconds);
}

std::vector<platform::TimePoint> CreativeThrottle::filterValidTimestamps(
    const std::vector<platform::TimePoint>& timestamps, double windowSeconds,
    platform::TimePoint now) {
  std::vector<platform::TimePoint> valid;
  std::copy_if(timestamps.begin(), timestamps.end(), std::back_inserter(valid),
               [&](platform::TimePoint t) { return isWithinWindow(t, windowSeconds, now); });
  return valid;
}

bool CreativeThrottle::process(std::int64_t companyId, const std::string& spaceId,
                               std::int64_t bindingId,
                               const std::optional<Creative::FrequencyCapping>& frequencyCapping) {
  if (!frequencyCapping) return true;
  const double window = windowSeconds(frequencyCapping->intervalHours);
  std::lock_guard lock(mutex_);
  const auto it = processingHistory_.find(CreativeKey{companyId, spaceId, bindingId});
  const platform::TimePoint now = clock_->now();
  std::vector<platform::TimePoint> valid;
  if (it != processingHistory_.end()) {
    valid = filterValidTimestamps(it->second.timestamps, window, now);
  }
  if (static_cast<std::int64_t>(valid.size()) >= frequencyCapping->maxFrequency) return false;

  valid.push_back(clock_->now());
  if (it != processingHistory_.end()) {
    it->second.timestamps = std::move(valid);
    return true;
  }
  processingHistory_.emplace(CreativeKey{companyId, spaceId, bindingId},
                             ProcessingRecord{std::move(valid)});
  return true;
}

std::int64_t CreativeThrottle::getProcessingCount(std::int64_t companyId,
                                                  const std::string& spaceId,
                                                  std::int64_t bindingId,
                                                  std::int64_t withinHours) const {
  const double window = windowSeconds(withinHours);
  const platform::TimePoint now = clock_->now();
  std::lock_guard lock(mutex_);
  const auto it = processingHistory_.find(CreativeKey{companyId, spaceId, bindingId});
  if (it == processingHistory_.end()) return 0;
  return static_cast<std::int64_t>(
      std::count_if(it->second.timestamps.begin(), it->second.timestamps.end(),
                    [&](platform::TimePoint t) { return isWithinWindow(t, window, now); }));
}

void CreativeThrottle::reset() {
  std::lock_guard lock(mutex_);
  processingHistory_.clear();
}

std::size_t CreativeThrottle::size() const {
  std::lock_guard lock(mutex_);
  return processingHistory_.size();
}

}  // namespace lumora
