#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "platform/AdvertisingIdentity.hpp"

namespace lumora::platform {

/// Scripted advertising identity: whether consent is needed, the consent
/// status and the identifier (all zeros unless set).
class SimAdvertisingIdentity : public AdvertisingIdentity {
 public:
  static constexpr const char* kNoIdentifier = "00000000-0000-0000-0000-000000000000";

  SimAdvertisingIdentity(bool trackingAuthorized = false, std::string identifier = kNoIdentifier,
                         bool requiresAuthorization = true);

  bool requiresTrackingAuthorization() const override;
  std::int64_t trackingAuthorizationStatus() const override;
  std::string advertisingIdentifier() const override;

  void setRequiresTrackingAuthorization(bool required);
  /// Raw status: 0 notDetermined, 1 restricted, 2 denied, 3 authorized.
  void setTrackingAuthorizationStatus(std::int64_t status);
  void setAdvertisingIdentifier(std::string identifier);

 private:
  mutable std::mutex mutex_;
  bool requiresAuthorization_;
  std::int64_t status_;
  std::string identifier_;
};

}  // namespace lumora::platform
