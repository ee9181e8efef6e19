#include "core/beacon/AbstractBeaconScanner.hpp"

#include <string_view>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "AbstractBeaconScanner";
constexpr std::string_view kFunction = "checkLocationPermission()";
constexpr const char* kNotGranted =
    "Location permission not granted. Please allow location access in settings.";
constexpr const char* kNotAlways =
    "Location permission not set to 'Always'. Please update in settings.";

AbstractBeaconScanner::LocationPermission refused(LumoraAdBeaconErrorType code,
                                                  const char* message) {
  return {false, LumoraAdBeaconError(code, message)};
}

}  // namespace

AbstractBeaconScanner::AbstractBeaconScanner(
    std::shared_ptr<LocationManagerProtocol> locationManager, bool isScanning)
    : locationManager_(std::move(locationManager)), isScanning_(isScanning) {}

bool AbstractBeaconScanner::isScanning() const noexcept { return isScanning_; }

void AbstractBeaconScanner::setIsScanning(bool isScanning) noexcept { isScanning_ = isScanning; }

const std::shared_ptr<LocationManagerProtocol>& AbstractBeaconScanner::locationManager()
    const noexcept {
  return locationManager_;
}

AbstractBeaconScanner::LocationPermission AbstractBeaconScanner::checkLocationPermission() const {
  switch (locationManager_->authorizationStatus()) {
    case LocationAuthorizationStatus::notDetermined:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction, "Location permission not determined");
      return refused(LumoraAdBeaconErrorType::unauthorizedLocationPermission, kNotGranted);
    case LocationAuthorizationStatus::restricted:
    case LocationAuthorizationStatus::denied:
      LUMORA_LOG(LogLevel::error, kLogFile, kFunction, "Location permission denied or restricted");
      return refused(LumoraAdBeaconErrorType::unauthorizedLocationPermission, kNotGranted);
    case LocationAuthorizationStatus::authorizedAlways:
      LUMORA_LOG(LogLevel::debug, kLogFile, kFunction, "Location permission 'Always' granted");
      return {true, std::nullopt};
    case LocationAuthorizationStatus::authorizedWhenInUse:
      LUMORA_LOG(LogLevel::warning, kLogFile, kFunction,
                 "Location permission is 'When In Use' but 'Always' is required for background "
                 "beacon monitoring");
      return refused(LumoraAdBeaconErrorType::locationPermissionNotAlways, kNotAlways);
  }
  return refused(LumoraAdBeaconErrorType::unauthorizedLocationPermission, kNotGranted);
}

}  // namespace lumora
