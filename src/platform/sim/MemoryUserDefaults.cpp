#include "platform/sim/MemoryUserDefaults.hpp"

#include <utility>

namespace lumora::platform {

MemoryUserDefaults::MemoryUserDefaults(Contents initial) : contents_(std::move(initial)) {}

std::optional<std::string> MemoryUserDefaults::stringForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  const auto found = contents_.find(key);
  if (found == contents_.end()) return std::nullopt;
  return found->second;
}

void MemoryUserDefaults::setString(const std::string& key, const std::string& value) {
  std::lock_guard lock(mutex_);
  contents_[key] = value;
}

void MemoryUserDefaults::removeObject(const std::string& key) {
  std::lock_guard lock(mutex_);
  contents_.erase(key);
}

MemoryUserDefaults::Contents MemoryUserDefaults::snapshot() const {
  std::lock_guard lock(mutex_);
  return contents_;
}

}  // namespace lumora::platform
