#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/PlatformError.hpp"

namespace lumora::platform {

/// A monitored region. A beacon region has a proximity UUID and matches every
/// beacon with that UUID; any other region kind has none.
struct PlatformRegion {
  std::string identifier;
  std::optional<std::string> beaconUuid;  // canonical upper-case text
  bool notifyOnEntry = true;
  bool notifyOnExit = true;
  bool notifyEntryStateOnDisplay = false;
};

/// One ranged iBeacon.
struct PlatformBeacon {
  std::string uuid;  // canonical upper-case text
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t rssi = 0;
};

/// Receives the location service's events, on the main queue.
class LocationServiceDelegate {
 public:
  virtual ~LocationServiceDelegate() = default;
  /// Raw status: 0 notDetermined, 1 restricted, 2 denied, 3 authorizedAlways,
  /// 4 authorizedWhenInUse; other values may appear.
  virtual void didChangeAuthorization(std::int64_t status) = 0;
  virtual void didEnterRegion(const PlatformRegion& region) = 0;
  virtual void didExitRegion(const PlatformRegion& region) = 0;
  /// Raw state: 0 unknown, 1 inside, 2 outside.
  virtual void didDetermineState(std::int64_t state, const PlatformRegion& region) = 0;
  virtual void didRangeBeaconsInRegion(const std::vector<PlatformBeacon>& beacons,
                                       const PlatformRegion& region) = 0;
  virtual void didRangeBeaconsSatisfying(const std::vector<PlatformBeacon>& beacons,
                                         const std::string& uuidConstraint) = 0;
  virtual void monitoringDidFail(const std::optional<PlatformRegion>& region,
                                 const PlatformError& error) = 0;
  virtual void didFailWithError(const PlatformError& error) = 0;
  virtual void didStartMonitoring(const PlatformRegion& region) = 0;
};

/// Region monitoring and beacon ranging. Call on the main queue. Once a
/// delegate is attached, the service reports the current authorization to it.
class LocationService {
 public:
  virtual ~LocationService() = default;
  virtual void setDelegate(std::weak_ptr<LocationServiceDelegate> delegate) = 0;
  virtual std::int64_t authorizationStatus() const = 0;
  virtual void requestWhenInUseAuthorization() = 0;
  virtual void requestAlwaysAuthorization() = 0;
  virtual void startMonitoring(const PlatformRegion& region) = 0;
  /// Regions are matched by identifier.
  virtual void stopMonitoring(const PlatformRegion& region) = 0;
  virtual void requestState(const PlatformRegion& region) = 0;
  /// Ranging with an identity constraint made of the UUID alone.
  virtual void startRangingBeacons(const std::string& uuidConstraint) = 0;
  virtual void stopRangingBeacons(const std::string& uuidConstraint) = 0;
  virtual std::vector<PlatformRegion> monitoredRegions() const = 0;
};

}  // namespace lumora::platform
