#pragma once

#include <functional>
#include <memory>

#include "core/beacon/AbstractBeaconScanner.hpp"
#include "core/beacon/LocationManagerDelegate.hpp"
#include "core/config/BeaconSettings.hpp"

namespace lumora {

/// Watches the one iBeacon region the beacon settings name and tells its
/// owner, through onBeaconDetected, whenever an iBeacon of the advertiser is
/// near: on entering the region and on every non-empty ranging report. It is
/// the delegate of the location layer, so an authorization report with
/// authorizedAlways starts monitoring even before anyone calls startScanning.
class AppleBeaconScanner : public AbstractBeaconScanner, public LocationManagerDelegate {
 public:
  using DetectionHandler = std::function<void()>;

  /// Makes the new scanner the location layer's delegate.
  static std::shared_ptr<AppleBeaconScanner> create(
      std::shared_ptr<LocationManagerProtocol> locationManager, BeaconSettings beaconSettings);

  const DetectionHandler& onBeaconDetected() const noexcept;
  void setOnBeaconDetected(DetectionHandler handler);

  /// Refuses (unauthorizedLocationPermission) unless the status is
  /// authorizedAlways; otherwise starts monitoring and ranging of the
  /// configured region and succeeds. The completion runs before this returns.
  void startScanning(Completion completion) override;
  /// Stops monitoring and ranging of every monitored beacon region.
  void stopScanning() override;

  void didChangeAuthorization(LocationAuthorizationStatus status) override;
  void didEnterRegion(const BeaconRegion& region) override;
  void didExitRegion(const BeaconRegion& region) override;
  void didRangeBeacons(const std::vector<Beacon>& beacons, const BeaconRegion& region) override;

 private:
  AppleBeaconScanner(std::shared_ptr<LocationManagerProtocol> locationManager,
                     BeaconSettings beaconSettings);

  void startMonitoringBeaconRegions();
  void stopMonitoringBeaconRegions();

  const BeaconSettings beaconSettings_;
  DetectionHandler onBeaconDetected_;
};

}  // namespace lumora
