#include "core/beacon/LocationManagerAdapter.hpp"

#include <string>
#include <string_view>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "LocationManagerAdapter";
constexpr std::string_view kConstraintPrefix = "constraint-";

constexpr std::int64_t kRegionStateUnknown = 0;
constexpr std::int64_t kRegionStateInside = 1;
constexpr std::int64_t kRegionStateOutside = 2;

}  // namespace

std::shared_ptr<LocationManagerAdapter> LocationManagerAdapter::create(
    std::shared_ptr<platform::LocationService> locationManager) {
  auto adapter = std::shared_ptr<LocationManagerAdapter>(
      new LocationManagerAdapter(std::move(locationManager)));
  adapter->locationManager_->setDelegate(adapter);
  return adapter;
}

LocationManagerAdapter::LocationManagerAdapter(
    std::shared_ptr<platform::LocationService> locationManager)
    : locationManager_(std::move(locationManager)) {}

LocationAuthorizationStatus LocationManagerAdapter::convert(std::int64_t platformStatus) noexcept {
  return locationAuthorizationStatusFromRawValue(platformStatus)
      .value_or(LocationAuthorizationStatus::notDetermined);
}

std::weak_ptr<LocationManagerDelegate> LocationManagerAdapter::delegate() const {
  return delegate_;
}

void LocationManagerAdapter::setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void LocationManagerAdapter::requestWhenInUseAuthorization() {
  locationManager_->requestWhenInUseAuthorization();
}

void LocationManagerAdapter::requestAlwaysAuthorization() {
  locationManager_->requestAlwaysAuthorization();
}

void LocationManagerAdapter::startMonitoring(const Region& region) {
  auto clRegion = region.toCLRegion();
  clRegion.notifyOnEntry = true;
  clRegion.notifyOnExit = true;
  if (clRegion.beaconUuid) clRegion.notifyEntryStateOnDisplay = true;
  LUMORA_LOG(LogLevel::debug, kLogFile, "startMonitoring(for:)",
             "Starting monitoring for region: " + std::string(region.description()));
  locationManager_->startMonitoring(clRegion);
  locationManager_->requestState(clRegion);
}

void LocationManagerAdapter::stopMonitoring(const Region& region) {
  locationManager_->stopMonitoring(region.toCLRegion());
}

void LocationManagerAdapter::startRangingBeacons(const BeaconRegion& region) {
  locationManager_->startRangingBeacons(region.uuid().text());
}

void LocationManagerAdapter::stopRangingBeacons(const BeaconRegion& region) {
  locationManager_->stopRangingBeacons(region.uuid().text());
}

void LocationManagerAdapter::requestState(const Region& region) {
  locationManager_->requestState(region.toCLRegion());
}

std::vector<BeaconRegion> LocationManagerAdapter::monitoredRegions() const {
  std::vector<BeaconRegion> regions;
  for (const auto& clRegion : locationManager_->monitoredRegions()) {
    if (auto region = BeaconRegion::fromCLRegion(clRegion)) regions.push_back(std::move(*region));
  }
  return regions;
}

LocationAuthorizationStatus LocationManagerAdapter::authorizationStatus() const {
  return convert(locationManager_->authorizationStatus());
}

void LocationManagerAdapter::didChangeAuthorization(std::int64_t status) {
  if (auto delegate = delegate_.lock()) delegate->didChangeAuthorization(convert(status));
}

void LocationManagerAdapter::didEnterRegion(const platform::PlatformRegion& region) {
  const auto beaconRegion = BeaconRegion::fromCLRegion(region);
  auto delegate = delegate_.lock();
  if (beaconRegion && delegate) delegate->didEnterRegion(*beaconRegion);
}

void LocationManagerAdapter::didExitRegion(const platform::PlatformRegion& region) {
  const auto beaconRegion = BeaconRegion::fromCLRegion(region);
  auto delegate = delegate_.lock();
  if (beaconRegion && delegate) delegate->didExitRegion(*beaconRegion);
}

void LocationManagerAdapter::didDetermineState(std::int64_t state,
                                               const platform::PlatformRegion& region) {
  constexpr std::string_view kFunction = "locationManager(_:didDetermineState:for:)";
  LUMORA_LOG(
      LogLevel::debug, kLogFile, kFunction,
      "Region state determined: " + std::to_string(state) + " for region: " + region.identifier);
  const auto beaconRegion = BeaconRegion::fromCLRegion(region);
  if (!beaconRegion) return;
  auto delegate = delegate_.lock();
  switch (state) {
    case kRegionStateInside:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction,
                 "Already inside beacon region, starting ranging");
      if (delegate) delegate->didEnterRegion(*beaconRegion);
      break;
    case kRegionStateOutside:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction, "Outside beacon region");
      if (delegate) delegate->didExitRegion(*beaconRegion);
      break;
    case kRegionStateUnknown:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction, "Unknown region state");
      break;
    default:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction,
                 "Unknown region state: " + std::to_string(state));
      break;
  }
}

void LocationManagerAdapter::didRangeBeaconsInRegion(
    const std::vector<platform::PlatformBeacon>& beacons, const platform::PlatformRegion& region) {
  const auto beaconRegion = BeaconRegion::fromCLRegion(region);
  auto delegate = delegate_.lock();
  if (beaconRegion && delegate) {
    delegate->didRangeBeacons(Beacon::fromCLBeacons(beacons), *beaconRegion);
  }
}

void LocationManagerAdapter::didRangeBeaconsSatisfying(
    const std::vector<platform::PlatformBeacon>& beacons, const std::string& uuidConstraint) {
  const auto uuid = Uuid::parse(uuidConstraint);
  auto delegate = delegate_.lock();
  if (!uuid || !delegate) return;
  const BeaconRegion region(*uuid, std::string(kConstraintPrefix) + uuid->text());
  delegate->didRangeBeacons(Beacon::fromCLBeacons(beacons), region);
}

void LocationManagerAdapter::monitoringDidFail(
    const std::optional<platform::PlatformRegion>& region, const platform::PlatformError& error) {
  const std::string message = region ? "Monitoring failed for region " + region->identifier + ": " +
                                           error.localizedDescription
                                     : "Monitoring failed: " + error.localizedDescription;
  LUMORA_LOG(LogLevel::error, kLogFile, "locationManager(_:monitoringDidFailFor:withError:)",
             message);
}

void LocationManagerAdapter::didFailWithError(const platform::PlatformError& error) {
  LUMORA_LOG(LogLevel::error, kLogFile, "locationManager(_:didFailWithError:)",
             "Location manager failed: " + error.localizedDescription);
}

void LocationManagerAdapter::didStartMonitoring(const platform::PlatformRegion& region) {
  LUMORA_LOG(LogLevel::debug, kLogFile, "locationManager(_:didStartMonitoringFor:)",
             "Started monitoring for region: " + region.identifier);
}

}  // namespace lumora
