#pragma once

#include <memory>

#include "core/config/BeaconSettings.hpp"
#include "core/config/ConfigurationFile.hpp"

namespace lumora {

/// Reads and checks the "BeaconSettings" section of the library bundle's
/// "sdk.plist":
///   BeaconSettings / AppleBeacon / {UUID, Identifier}
///   BeaconSettings / CustomBeacon / ServiceUUID
class BeaconSettingsFactory {
 public:
  explicit BeaconSettingsFactory(std::shared_ptr<const ConfigurationFile> file);

  /// Throws lumora::BeaconSettingsError for
  /// the first problem, checked in this order: no readable file, no section,
  /// "AppleBeacon", "AppleBeacon.UUID", a UUID text that does not parse,
  /// "AppleBeacon.Identifier", "CustomBeacon", "CustomBeacon.ServiceUUID".
  /// Wrong-typed values count as missing; texts are kept exactly as written
  /// and the service UUID is not validated.
  BeaconSettings createBeaconSettings() const;

 private:
  std::shared_ptr<const ConfigurationFile> file_;
};

}  // namespace lumora
