#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "core/beacon/AppleBeaconScanner.hpp"
#include "core/beacon/BeaconListener.hpp"
#include "core/beacon/BeaconManager.hpp"
#include "core/beacon/CBCentralManagerAdapter.hpp"
#include "core/beacon/CustomBeaconScanner.hpp"
#include "core/beacon/LocationManagerAdapter.hpp"
#include "core/util/LogLevel.hpp"
#include "platform/sim/SimBleCentral.hpp"
#include "platform/sim/SimLocationService.hpp"
#include "platform/sim/SimRadio.hpp"
#include "support/SimWorld.hpp"

namespace lumora::testing {

/// Remembers every identity the beacon manager reports.
class RecordingBeaconListener : public BeaconListener {
 public:
  using Detection = std::tuple<std::int64_t, std::string, std::int64_t>;
  void onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                        std::int64_t bindingId) override {
    detections.emplace_back(companyId, spaceId, bindingId);
  }
  std::vector<Detection> detections;
};

/// One scanner completion as received.
struct ScanOutcome {
  bool success = false;
  std::optional<LumoraAdBeaconErrorType> code;
  std::string message;
};

/// A sim world with a radio, a Bluetooth central and a location service on
/// it, and the detection chain built on them in the facade's order. Location
/// authorization starts as authorizedAlways and the radio as poweredOn. The
/// location service is the simulator's, as shipped: ranging lists the
/// iBeacons heard in the last second.
class DetectionWorld : public SimWorld {
 protected:
  static constexpr const char* kRegionUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
  static constexpr const char* kRegionIdentifier = "lumora-region";
  static constexpr const char* kServiceUuid = "0000fd6f-0000-1000-8000-00805f9b34fb";
  static constexpr const char* kCanonicalServiceUuid = "0000FD6F-0000-1000-8000-00805F9B34FB";
  static constexpr const char* kSpaceId = "0a1b2c3d4e5f6071";

  explicit DetectionWorld(BeaconSettings beaconSettings = {kRegionUuid, kRegionIdentifier,
                                                           kServiceUuid});

  /// The custom beacon companyId 4660, spaceId kSpaceId, this binding.
  platform::AdvertisementData customBeacon(std::uint32_t bindingId = 300) const;
  platform::AdvertisementData iBeacon() const;
  static platform::TimePoint timeAt(double secondsSinceStart);
  /// The iBeacon every second from `from` seconds on until `until` seconds
  /// since the start.
  void iBeaconEverySecond(double from, double until);
  /// Puts the advertisement on the air at that many seconds since the start.
  void transmitAt(double secondsSinceStart, const platform::AdvertisementData& advertisement);
  /// Runs the queue up to that many seconds since the start.
  void runUntil(double secondsSinceStart);

  /// Records whose message is exactly this, at this level, from this file and function.
  std::size_t countLogs(LogLevel level, const std::string& file, const std::string& function,
                        const std::string& message) const;
  std::size_t scanStarts() const;
  std::size_t scanStops() const;
  /// A completion that appends to `outcomes`.
  AbstractBeaconScanner::Completion recordInto(std::vector<ScanOutcome>& outcomes) const;

  BeaconSettings settings;
  std::shared_ptr<platform::SimRadio> radio;
  std::shared_ptr<platform::SimBleCentral> central;
  std::shared_ptr<platform::SimLocationService> location;

  std::shared_ptr<LocationManagerAdapter> locationAdapter;
  std::shared_ptr<AppleBeaconScanner> appleScanner;
  std::shared_ptr<CBCentralManagerAdapter> centralAdapter;
  std::shared_ptr<CustomBeaconScanner> customScanner;
  std::shared_ptr<BeaconManager> manager;
  std::shared_ptr<RecordingBeaconListener> listener;
};

}  // namespace lumora::testing
