#include "platform/sim/MemoryResourceBundle.hpp"

namespace lumora::platform {

std::optional<std::vector<std::uint8_t>> MemoryResourceBundle::resource(
    const std::string& name, const std::string& type) const {
  std::lock_guard lock(mutex_);
  const auto it = files_.find(name + "." + type);
  if (it == files_.end()) return std::nullopt;
  return it->second;
}

void MemoryResourceBundle::setResource(const std::string& fileName,
                                       std::vector<std::uint8_t> contents) {
  std::lock_guard lock(mutex_);
  files_[fileName] = std::move(contents);
}

void MemoryResourceBundle::setResource(const std::string& fileName, const std::string& contents) {
  setResource(fileName, std::vector<std::uint8_t>(contents.begin(), contents.end()));
}

void MemoryResourceBundle::removeResource(const std::string& fileName) {
  std::lock_guard lock(mutex_);
  files_.erase(fileName);
}

}  // namespace lumora::platform
