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

/// The sim phone with the detection chain built on its radio, central and
/// location service in the facade's order (location Always, radio powered on).
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
  /// The iBeacon every second from `from` until `until` seconds since the start.
  void iBeaconEverySecond(double from, double until);
  /// Puts the advertisement on the air at that many seconds since the start.
  void transmitAt(double secondsSinceStart, const platform::AdvertisementData& advertisement);
  void setLocationStatus(LocationAuthorizationStatus status);
  std::size_t scanStarts() const;
  std::size_t scanStops() const;
  /// A completion that appends to `outcomes`.
  AbstractBeaconScanner::Completion recordInto(std::vector<ScanOutcome>& outcomes) const;

  BeaconSettings settings;
  const std::shared_ptr<platform::SimRadio> radio = phone.radio;
  const std::shared_ptr<platform::SimBleCentral> central = phone.central;
  const std::shared_ptr<platform::SimLocationService> location = phone.location;
  std::shared_ptr<LocationManagerAdapter> locationAdapter =
      LocationManagerAdapter::create(location);
  std::shared_ptr<AppleBeaconScanner> appleScanner;
  std::shared_ptr<CBCentralManagerAdapter> centralAdapter;
  std::shared_ptr<CustomBeaconScanner> customScanner;
  std::shared_ptr<BeaconManager> manager;
  std::shared_ptr<RecordingBeaconListener> listener = std::make_shared<RecordingBeaconListener>();
};

}  // namespace lumora::testing
