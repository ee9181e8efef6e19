#pragma once

#include <vector>

#include "core/beacon/Beacon.hpp"
#include "core/beacon/BeaconRegion.hpp"
#include "core/beacon/LocationAuthorizationStatus.hpp"

namespace lumora {

/// Receives the location layer's events (on the main queue).
class LocationManagerDelegate {
 public:
  virtual ~LocationManagerDelegate() = default;

  virtual void didChangeAuthorization(LocationAuthorizationStatus status) = 0;
  virtual void didEnterRegion(const BeaconRegion& region) = 0;
  virtual void didExitRegion(const BeaconRegion& region) = 0;
  virtual void didRangeBeacons(const std::vector<Beacon>& beacons, const BeaconRegion& region) = 0;
};

}  // namespace lumora
