#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/beacon/AbstractBeaconScanner.hpp"
#include "core/beacon/BeaconIdentity.hpp"
#include "core/beacon/CBCentralManagerProtocol.hpp"
#include "core/beacon/CBManagerDelegateHandler.hpp"
#include "core/beacon/CBManagerDelegateHandlerDelegate.hpp"
#include "core/config/BeaconSettings.hpp"

namespace lumora {

/// Finds the library's custom beacons with a Bluetooth LE scan filtered on the
/// configured service UUID, duplicates allowed. Every advertisement whose
/// manufacturer data parses leaves through onBeaconDetected; repeats are
/// filtered one level up.
///
/// The service UUID is passed to the central in canonical upper-case form
/// when it is a UUID, and unchanged otherwise (a 16-bit alias such as "FEAA",
/// or text the central will not match); the settings loader validates it.
class CustomBeaconScanner : public AbstractBeaconScanner, public CBManagerDelegateHandlerDelegate {
 public:
  using DetectionHandler = std::function<void(const BeaconIdentity& beacon)>;

  static constexpr double kPoweredOnTimeout = 2.0;

  /// Builds the delegate handler and makes it the central's delegate.
  static std::shared_ptr<CustomBeaconScanner> create(
      std::shared_ptr<CBCentralManagerProtocol> centralManager,
      std::shared_ptr<LocationManagerProtocol> locationManager, BeaconSettings beaconSettings);
  /// Detaches from the delegate handler, which the central may keep.
  ~CustomBeaconScanner() override;

  const DetectionHandler& onBeaconDetected() const noexcept;
  void setOnBeaconDetected(DetectionHandler handler);

  /// Waits up to two seconds for Bluetooth, checks location permission and
  /// starts the scan. The completion runs once with the outcome (before this
  /// returns when the radio is already on), except when the wait reports no
  /// power but the state then reads poweredOn: then it is not called.
  void startScanning(Completion completion) override;
  /// Stops the scan at once; a pending wait is not cancelled.
  void stopScanning() override;

  /// Restores the scan when the radio comes back on while scanning.
  void didUpdateState(CBManagerState state) override;
  void didDiscoverBeacon(const BeaconIdentity& beaconData) override;

 private:
  CustomBeaconScanner(std::shared_ptr<CBCentralManagerProtocol> centralManager,
                      std::shared_ptr<LocationManagerProtocol> locationManager,
                      BeaconSettings beaconSettings);

  void onWaitFinished(bool poweredOn, const Completion& completion);
  void scan();
  /// The error for a radio that is not usable; nothing for poweredOn.
  static std::optional<LumoraAdBeaconError> bluetoothError(CBManagerState state);

  const std::shared_ptr<CBCentralManagerProtocol> centralManager_;
  const std::shared_ptr<CBManagerDelegateHandler> delegateHandler_;
  /// The scan's service filter, from the settings' customBeaconServiceUUID.
  const std::vector<std::string> scanServices_;
  DetectionHandler onBeaconDetected_;
};

}  // namespace lumora
