#pragma once

#include <memory>
#include <optional>

#include "core/beacon/AbstractBeaconScanner.hpp"
#include "core/beacon/AppleBeaconScanner.hpp"
#include "core/beacon/BeaconDeduplicator.hpp"
#include "core/beacon/BeaconIdentity.hpp"
#include "core/beacon/BeaconListener.hpp"
#include "core/beacon/CustomBeaconScanner.hpp"
#include "core/config/BeaconSettings.hpp"
#include "platform/Clock.hpp"
#include "platform/MainQueue.hpp"
#include "platform/Timer.hpp"

namespace lumora {

/// Runs both scanners and is the one source of custom-beacon sightings.
///
/// iBeacon region monitoring runs while the manager is started; each iBeacon
/// sighting opens a gate and starts the Bluetooth scan for custom beacons, and
/// a one-second tick closes the gate and stops that scan once more than ten
/// seconds have passed without an iBeacon. Custom beacons seen while the gate
/// is open pass the deduplicator (30 s) and each new identity reaches the
/// listener. A 60-second timer prunes the deduplicator. Everything runs on the
/// main queue.
///
/// The gate does not depend on isScanning(): an iBeacon the scanner reports on
/// its own (after an authorization report) opens it even while stopped.
/// Timers hold the manager weakly and are not cancelled when it is released.
/// The scanners' detection handlers refer to the manager plainly, since they
/// run for every advertisement: the manager owns both scanners and removes
/// the handlers when it is destroyed, so a handler that runs finds it alive.
/// (The manager must not be released from inside its own listener call.)
class BeaconManager : public std::enable_shared_from_this<BeaconManager> {
 public:
  static constexpr double kDeduplicationInterval = 30.0;
  static constexpr double kCleanupInterval = 60.0;
  static constexpr double kTimeoutTickInterval = 1.0;
  static constexpr double kIBeaconTimeout = 10.0;

  /// Installs the scanners' detection handlers.
  static std::shared_ptr<BeaconManager> create(
      std::shared_ptr<AppleBeaconScanner> appleBeaconScanner,
      std::shared_ptr<CustomBeaconScanner> customBeaconScanner, BeaconSettings beaconSettings,
      std::shared_ptr<platform::MainQueue> mainQueue, std::shared_ptr<platform::Clock> clock);
  /// Removes the detection handlers it installed.
  ~BeaconManager();

  bool isScanning() const noexcept;
  void setIsScanning(bool isScanning) noexcept;
  /// Held strongly, replacing any earlier listener.
  void setListener(std::shared_ptr<BeaconListener> listener);

  /// Starts iBeacon monitoring and both timers. The completion, when given,
  /// runs before this returns: true, or false with the iBeacon scanner's error.
  void startScanning(AbstractBeaconScanner::Completion completion);
  /// Stops both scanners and the timers and forgets every identity seen.
  void stopScanning();

 private:
  BeaconManager(std::shared_ptr<AppleBeaconScanner> appleBeaconScanner,
                std::shared_ptr<CustomBeaconScanner> customBeaconScanner,
                BeaconSettings beaconSettings, std::shared_ptr<platform::MainQueue> mainQueue,
                std::shared_ptr<platform::Clock> clock);

  void setupBeaconCallbacks();
  void onIBeaconDetected();
  void onCustomBeaconDetected(const BeaconIdentity& beacon);
  void startCleanupTimer();
  void startIBeaconTimeoutTimer();
  void onIBeaconTimeoutTick();
  static void invalidate(std::shared_ptr<platform::Timer>& timer);

  std::shared_ptr<BeaconListener> listener_;
  bool isScanning_ = false;
  const std::shared_ptr<AppleBeaconScanner> appleBeaconScanner_;
  const std::shared_ptr<CustomBeaconScanner> customBeaconScanner_;
  const BeaconSettings beaconSettings_;
  const std::shared_ptr<platform::MainQueue> mainQueue_;
  const std::shared_ptr<platform::Clock> clock_;
  BeaconDeduplicator beaconDeduplicator_;
  std::shared_ptr<platform::Timer> cleanupTimer_;
  std::shared_ptr<platform::Timer> iBeaconTimeoutTimer_;
  bool iBeaconDetected_ = false;
  std::optional<platform::TimePoint> lastDetectedIBeaconTimestamp_;
};

}  // namespace lumora
