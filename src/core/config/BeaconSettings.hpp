#pragma once

#include <string>

namespace lumora {

/// The beacons to look for, as "sdk.plist" names them. Texts are kept exactly
/// as written.
struct BeaconSettings {
  /// Proximity UUID of the iBeacon region (validated when read).
  std::string appleBeaconUUID;
  /// Identifier given to that region.
  std::string appleBeaconIdentifier;
  /// Service UUID that custom beacons advertise and the Bluetooth scan filters on.
  std::string customBeaconServiceUUID;
};

}  // namespace lumora
