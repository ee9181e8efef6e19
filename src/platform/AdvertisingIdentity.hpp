#pragma once

#include <cstdint>
#include <string>

namespace lumora::platform {

/// The platform's advertising identifier and the user's tracking consent.
class AdvertisingIdentity {
 public:
  static constexpr std::int64_t kTrackingAuthorized = 3;

  virtual ~AdvertisingIdentity() = default;
  /// Whether reading the identifier needs the user's tracking consent.
  virtual bool requiresTrackingAuthorization() const = 0;
  /// Raw status: 0 notDetermined, 1 restricted, 2 denied, 3 authorized.
  virtual std::int64_t trackingAuthorizationStatus() const = 0;
  /// Canonical text; all zeros when there is none.
  virtual std::string advertisingIdentifier() const = 0;
};

}  // namespace lumora::platform
