#include "platform/linux/LinuxAdvertisingIdentity.hpp"

namespace lumora::platform {
namespace {

constexpr std::int64_t kDenied = 2;

}  // namespace

bool LinuxAdvertisingIdentity::requiresTrackingAuthorization() const { return true; }

std::int64_t LinuxAdvertisingIdentity::trackingAuthorizationStatus() const { return kDenied; }

std::string LinuxAdvertisingIdentity::advertisingIdentifier() const {
  return "00000000-0000-0000-0000-000000000000";
}

}  // namespace lumora::platform
