#include "core/beacon/CustomBeaconScanner.hpp"

#include <string>

namespace lumora {
namespace {

// The central is handed the canonical 128-bit form, also for a short form
// such as "FEAA".
std::string scanService(const std::string& customBeaconServiceUUID) {
  const auto uuid = Uuid::parseBluetooth(customBeaconServiceUUID);
  return uuid ? uuid->text() : customBeaconServiceUUID;
}

LumoraAdBeaconError bluetoothDisabled(std::string message) {
  return LumoraAdBeaconError(LumoraAdBeaconErrorType::bluetoothDisabled, std::move(message));
}

}  // namespace

std::shared_ptr<CustomBeaconScanner> CustomBeaconScanner::create(
    std::shared_ptr<CBCentralManagerProtocol> centralManager,
    std::shared_ptr<LocationManagerProtocol> locationManager, BeaconSettings beaconSettings) {
  auto scanner = std::shared_ptr<CustomBeaconScanner>(new CustomBeaconScanner(
      std::move(centralManager), std::move(locationManager), std::move(beaconSettings)));
  scanner->delegateHandler_->setDelegate(scanner.get());
  return scanner;
}

CustomBeaconScanner::CustomBeaconScanner(std::shared_ptr<CBCentralManagerProtocol> centralManager,
                                         std::shared_ptr<LocationManagerProtocol> locationManager,
                                         BeaconSettings beaconSettings)
    : AbstractBeaconScanner(std::move(locationManager), false),
      centralManager_(std::move(centralManager)),
      delegateHandler_(std::make_shared<CBManagerDelegateHandler>()),
      scanServices_{scanService(beaconSettings.customBeaconServiceUUID)} {
  centralManager_->setDelegate(delegateHandler_);
}

CustomBeaconScanner::~CustomBeaconScanner() { delegateHandler_->setDelegate(nullptr); }

const CustomBeaconScanner::DetectionHandler& CustomBeaconScanner::onBeaconDetected()
    const noexcept {
  return onBeaconDetected_;
}

void CustomBeaconScanner::setOnBeaconDetected(DetectionHandler handler) {
  onBeaconDetected_ = std::move(handler);
}

void CustomBeaconScanner::startScanning(Completion completion) {
  centralManager_->waitForPoweredOn(kPoweredOnTimeout,
                                    [weakScanner = weakSelf<CustomBeaconScanner>(),
                                     completion = std::move(completion)](bool poweredOn) {
                                      if (auto self = weakScanner.lock())
                                        self->onWaitFinished(poweredOn, completion);
                                    });
}

void CustomBeaconScanner::onWaitFinished(bool poweredOn, const Completion& completion) {
  if (!poweredOn) {
    const auto error = bluetoothError(centralManager_->state());
    if (error && completion) completion(false, error);
    return;
  }
  auto permission = checkLocationPermission();
  if (!permission.authorized) {
    if (completion) completion(false, permission.error);
    return;
  }
  setIsScanning(true);
  scan();
  if (completion) completion(true, std::nullopt);
}

std::optional<LumoraAdBeaconError> CustomBeaconScanner::bluetoothError(CBManagerState state) {
  switch (state) {
    case CBManagerState::unknown:
    case CBManagerState::resetting:
      return bluetoothDisabled("Bluetooth state is still undetermined after waiting");
    case CBManagerState::unsupported:
      return bluetoothDisabled("Bluetooth not supported on this device");
    case CBManagerState::unauthorized:
      return LumoraAdBeaconError(
          LumoraAdBeaconErrorType::bluetoothPermissionDenied,
          "Bluetooth permission denied. Please allow Bluetooth access in settings.");
    case CBManagerState::poweredOff:
      return bluetoothDisabled("Bluetooth is disabled. Please turn on Bluetooth.");
    case CBManagerState::poweredOn:
      return std::nullopt;
  }
  return bluetoothDisabled("Unknown Bluetooth state: " +
                           std::to_string(static_cast<std::int64_t>(state)));
}

void CustomBeaconScanner::stopScanning() {
  centralManager_->stopScan();
  setIsScanning(false);
}

void CustomBeaconScanner::scan() {
  centralManager_->scanForPeripherals(scanServices_, /*allowDuplicates=*/true);
}

void CustomBeaconScanner::didUpdateState(CBManagerState state) {
  if (state == CBManagerState::poweredOn && isScanning()) scan();
}

void CustomBeaconScanner::didDiscoverBeacon(const BeaconIdentity& beaconData) {
  if (onBeaconDetected_) onBeaconDetected_(beaconData);
}

}  // namespace lumora
