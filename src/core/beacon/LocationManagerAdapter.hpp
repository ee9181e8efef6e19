#pragma once

#include <memory>

#include "core/beacon/LocationManagerProtocol.hpp"
#include "platform/LocationService.hpp"

namespace lumora {

/// The library's location layer on top of the platform's location service.
/// Calls are forwarded to the service; the service's events are translated
/// into the library's region and status types and passed, synchronously, to
/// the weakly held delegate. Failures are only logged.
///
/// Platform statuses outside 0...4 count as notDetermined. Platform regions
/// without a valid proximity UUID are not beacon regions: their entry, exit
/// and ranging events are dropped and they are left out of monitoredRegions().
///
///   auto adapter = LocationManagerAdapter::create(platform->locationService());
///   adapter->setDelegate(scanner);
class LocationManagerAdapter : public LocationManagerProtocol,
                               public platform::LocationServiceDelegate,
                               public std::enable_shared_from_this<LocationManagerAdapter> {
 public:
  /// Makes the adapter the service's delegate (after which the service reports
  /// the current authorization once).
  static std::shared_ptr<LocationManagerAdapter> create(
      std::shared_ptr<platform::LocationService> locationManager);

  /// Converts a platform status; 5 or more (compared unsigned) is notDetermined.
  static LocationAuthorizationStatus convert(std::int64_t platformStatus) noexcept;

  std::weak_ptr<LocationManagerDelegate> delegate() const override;
  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) override;
  void requestWhenInUseAuthorization() override;
  void requestAlwaysAuthorization() override;
  /// Asks for entry, exit and (for beacon regions) display-state
  /// notifications, starts monitoring and asks for the region's current state.
  void startMonitoring(const Region& region) override;
  void stopMonitoring(const Region& region) override;
  /// Ranging with a constraint of the region's UUID alone.
  void startRangingBeacons(const BeaconRegion& region) override;
  void stopRangingBeacons(const BeaconRegion& region) override;
  void requestState(const Region& region) override;
  std::vector<BeaconRegion> monitoredRegions() const override;
  LocationAuthorizationStatus authorizationStatus() const override;

  void didChangeAuthorization(std::int64_t status) override;
  void didEnterRegion(const platform::PlatformRegion& region) override;
  void didExitRegion(const platform::PlatformRegion& region) override;
  void didDetermineState(std::int64_t state, const platform::PlatformRegion& region) override;
  void didRangeBeaconsInRegion(const std::vector<platform::PlatformBeacon>& beacons,
                               const platform::PlatformRegion& region) override;
  /// The region reported has the constraint's UUID and the identifier
  /// "constraint-" + the UUID's upper-case text; a constraint that is not a
  /// UUID is dropped.
  void didRangeBeaconsSatisfying(const std::vector<platform::PlatformBeacon>& beacons,
                                 const std::string& uuidConstraint) override;
  void monitoringDidFail(const std::optional<platform::PlatformRegion>& region,
                         const platform::PlatformError& error) override;
  void didFailWithError(const platform::PlatformError& error) override;
  void didStartMonitoring(const platform::PlatformRegion& region) override;

 private:
  explicit LocationManagerAdapter(std::shared_ptr<platform::LocationService> locationManager);

  const std::shared_ptr<platform::LocationService> locationManager_;
  std::weak_ptr<LocationManagerDelegate> delegate_;
};

}  // namespace lumora
