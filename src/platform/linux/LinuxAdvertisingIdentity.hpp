#pragma once

#include "platform/AdvertisingIdentity.hpp"

namespace lumora::platform {

/// Linux has no platform advertising identifier and no tracking-consent
/// service: consent is required and never given, and the identifier is all
/// zeros, so the library always takes the no-tracking route here unless the
/// host passes an identifier itself.
class LinuxAdvertisingIdentity : public AdvertisingIdentity {
 public:
  bool requiresTrackingAuthorization() const override;
  std::int64_t trackingAuthorizationStatus() const override;
  std::string advertisingIdentifier() const override;
};

}  // namespace lumora::platform
