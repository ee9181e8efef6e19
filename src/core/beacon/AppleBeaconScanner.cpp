#include "core/beacon/AppleBeaconScanner.hpp"

#include <string>
#include <string_view>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "AppleBeaconScanner";

}  // namespace

std::shared_ptr<AppleBeaconScanner> AppleBeaconScanner::create(
    std::shared_ptr<LocationManagerProtocol> locationManager, BeaconSettings beaconSettings) {
  auto scanner = std::shared_ptr<AppleBeaconScanner>(
      new AppleBeaconScanner(std::move(locationManager), std::move(beaconSettings)));
  scanner->locationManager()->setDelegate(scanner);
  return scanner;
}

AppleBeaconScanner::AppleBeaconScanner(std::shared_ptr<LocationManagerProtocol> locationManager,
                                       BeaconSettings beaconSettings)
    : AbstractBeaconScanner(std::move(locationManager), false),
      beaconSettings_(std::move(beaconSettings)) {}

const AppleBeaconScanner::DetectionHandler& AppleBeaconScanner::onBeaconDetected() const noexcept {
  return onBeaconDetected_;
}

void AppleBeaconScanner::setOnBeaconDetected(DetectionHandler handler) {
  onBeaconDetected_ = std::move(handler);
}

void AppleBeaconScanner::startScanning(Completion completion) {
  if (locationManager()->authorizationStatus() != LocationAuthorizationStatus::authorizedAlways) {
    if (completion) {
      completion(false, LumoraAdBeaconError(
                            LumoraAdBeaconErrorType::unauthorizedLocationPermission,
                            "Location permission not granted. Please allow location access in "
                            "settings."));
    }
    return;
  }
  setIsScanning(true);
  startMonitoringBeaconRegions();
  if (completion) completion(true, std::nullopt);
}

void AppleBeaconScanner::stopScanning() {
  stopMonitoringBeaconRegions();
  setIsScanning(false);
}

void AppleBeaconScanner::startMonitoringBeaconRegions() {
  const auto uuid = Uuid::parse(beaconSettings_.appleBeaconUUID);
  if (!uuid) {
    LUMORA_LOG(LogLevel::error, kLogFile, "startMonitoringBeaconRegions()",
               "Invalid UUID format: " + beaconSettings_.appleBeaconUUID);
    return;
  }
  const BeaconRegion region(*uuid, beaconSettings_.appleBeaconIdentifier);
  locationManager()->startMonitoring(region);
  locationManager()->startRangingBeacons(region);
  LUMORA_LOG(LogLevel::debug, kLogFile, "startMonitoringBeaconRegions()",
             "Started monitoring and ranging for iBeacon region: " + region.identifier());
}

void AppleBeaconScanner::stopMonitoringBeaconRegions() {
  for (const auto& region : locationManager()->monitoredRegions()) {
    locationManager()->stopMonitoring(region);
    locationManager()->stopRangingBeacons(region);
  }
}

void AppleBeaconScanner::didChangeAuthorization(LocationAuthorizationStatus status) {
  constexpr std::string_view kFunction = "didChangeAuthorization(status:)";
  LUMORA_LOG(LogLevel::debug, kLogFile, kFunction,
             "Location authorization changed: " + std::string(caseName(status)));
  if (locationManager()->authorizationStatus() != LocationAuthorizationStatus::authorizedAlways) {
    stopMonitoringBeaconRegions();
    return;
  }
  if (isScanning()) {
    LUMORA_LOG(LogLevel::debug, kLogFile, kFunction, "Nothing to do because scanning is active");
    return;
  }
  LUMORA_LOG(LogLevel::debug, kLogFile, kFunction,
             "Starting monitoring because scanning is not active");
  startScanning(nullptr);
}

void AppleBeaconScanner::didEnterRegion(const BeaconRegion& region) {
  LUMORA_LOG(LogLevel::debug, kLogFile, "didEnterRegion(region:)",
             "Entered iBeacon region: " + region.identifier());
  locationManager()->startRangingBeacons(region);
  if (onBeaconDetected_) onBeaconDetected_();
}

void AppleBeaconScanner::didExitRegion(const BeaconRegion& region) {
  LUMORA_LOG(LogLevel::debug, kLogFile, "didExitRegion(region:)",
             "Exited iBeacon region: " + region.identifier());
  locationManager()->stopRangingBeacons(region);
}

void AppleBeaconScanner::didRangeBeacons(const std::vector<Beacon>& beacons,
                                         const BeaconRegion& /*region*/) {
  if (!beacons.empty() && onBeaconDetected_) onBeaconDetected_();
}

}  // namespace lumora
