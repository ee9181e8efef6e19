#include "platform/linux/BundleDirectory.hpp"

#include <mutex>
#include <string>
#include <utility>

#include "lumora/LinuxBundle.hpp"

namespace lumora {
namespace {

std::mutex& directoryMutex() {
  static std::mutex mutex;
  return mutex;
}

std::optional<std::filesystem::path>& directorySlot() {
  static std::optional<std::filesystem::path> directory;
  return directory;
}

}  // namespace

void setBundleDirectory(std::string directory) {
  std::lock_guard lock(directoryMutex());
  directorySlot() = std::filesystem::path(std::move(directory));
}

namespace platform {

std::optional<std::filesystem::path> configuredBundleDirectory() {
  std::lock_guard lock(directoryMutex());
  return directorySlot();
}

}  // namespace platform
}  // namespace lumora
