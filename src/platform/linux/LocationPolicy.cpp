#include "platform/linux/LocationPolicy.hpp"

#include <atomic>
#include <memory>

#include "lumora/LinuxLocationPolicy.hpp"
#include "platform/linux/LinuxPlatform.hpp"

namespace lumora {
namespace {

std::atomic<std::int64_t>& policy() {
  static std::atomic<std::int64_t> status{
      static_cast<std::int64_t>(LocationAuthorization::authorizedAlways)};
  return status;
}

}  // namespace

void setLocationAuthorization(LocationAuthorization status) {
  const auto raw = static_cast<std::int64_t>(status);
  policy().store(raw);
  // A platform already running reports the change to the SDK.
  if (auto linux =
          std::dynamic_pointer_cast<platform::LinuxPlatform>(platform::Platform::installed())) {
    linux->setLocationAuthorization(raw);
  }
}

namespace platform {

std::int64_t configuredLocationAuthorization() { return policy().load(); }

}  // namespace platform
}  // namespace lumora
