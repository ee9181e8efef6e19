#include "platform/Platform.hpp"

#include <mutex>
#include <utility>

namespace lumora::platform {
namespace {

std::mutex& installMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<Platform>& installedPlatform() {
  static std::shared_ptr<Platform> platform;
  return platform;
}

}  // namespace

void Platform::install(std::shared_ptr<Platform> platform) {
  {
    std::lock_guard lock(installMutex());
    installedPlatform().swap(platform);
  }
  // The replaced platform is released here, outside the lock: its services
  // may log while they wind down, from their own threads too, and logging
  // asks for the installed platform.
}

std::shared_ptr<Platform> Platform::installed() {
  std::lock_guard lock(installMutex());
  auto& platform = installedPlatform();
  if (!platform) platform = makeDefaultPlatform();
  return platform;
}

std::shared_ptr<Platform> Platform::current() {
  std::lock_guard lock(installMutex());
  return installedPlatform();
}

}  // namespace lumora::platform
