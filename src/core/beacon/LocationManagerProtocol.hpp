#pragma once

#include <memory>
#include <vector>

#include "core/beacon/BeaconRegion.hpp"
#include "core/beacon/LocationAuthorizationStatus.hpp"
#include "core/beacon/LocationManagerDelegate.hpp"
#include "core/beacon/Region.hpp"

namespace lumora {

/// How the scanners drive region monitoring and beacon ranging.
class LocationManagerProtocol {
 public:
  virtual ~LocationManagerProtocol() = default;

  virtual std::weak_ptr<LocationManagerDelegate> delegate() const = 0;
  /// The delegate is held weakly.
  virtual void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) = 0;
  virtual void requestWhenInUseAuthorization() = 0;
  virtual void requestAlwaysAuthorization() = 0;
  virtual void startMonitoring(const Region& region) = 0;
  virtual void stopMonitoring(const Region& region) = 0;
  virtual void startRangingBeacons(const BeaconRegion& region) = 0;
  virtual void stopRangingBeacons(const BeaconRegion& region) = 0;
  virtual void requestState(const Region& region) = 0;
  /// The application's monitored beacon regions, in no particular order.
  virtual std::vector<BeaconRegion> monitoredRegions() const = 0;
  virtual LocationAuthorizationStatus authorizationStatus() const = 0;
};

}  // namespace lumora
