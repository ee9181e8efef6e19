#pragma once

#include <algorithm>
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
                                                           kServiceUuid})
      : settings(std::move(beaconSettings)),
        appleScanner(AppleBeaconScanner::create(locationAdapter, settings)),
        centralAdapter(CBCentralManagerAdapter::create(central, platform->virtualQueue)),
        customScanner(CustomBeaconScanner::create(centralAdapter, locationAdapter, settings)),
        manager(BeaconManager::create(appleScanner, customScanner, settings, platform->virtualQueue,
                                      platform->virtualClock)) {
    manager->setListener(listener);
  }

  /// The custom beacon companyId 4660, spaceId kSpaceId, this binding.
  static platform::AdvertisementData customBeacon(std::uint32_t bindingId = 300) {
    return platform::SimRadio::customBeaconAdvertisement(kSpaceId, bindingId, kServiceUuid);
  }
  static platform::AdvertisementData iBeacon() {
    return platform::SimRadio::iBeaconAdvertisement(kRegionUuid, 1, 2);
  }
  /// The iBeacon every second from `from` until `until` seconds since the start.
  void iBeaconEverySecond(double from, double until) {
    platform->virtualQueue->scheduleTimer(
        from - secondsSinceStart(), false,
        [this, until](platform::Timer&) { radio->transmitEvery(iBeacon(), 1.0, timeAt(until)); });
  }
  void transmitAt(double at, const platform::AdvertisementData& advertisement) {
    radio->transmitAfter(at - secondsSinceStart(), advertisement);
  }
  void setLocationStatus(LocationAuthorizationStatus status) {
    location->setAuthorizationStatus(static_cast<std::int64_t>(status));
  }
  std::size_t scanStarts() const {
    const auto& records = central->scanRecords();
    return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [](auto& r) {
      return r.action == platform::SimBleCentral::ScanRecord::Action::start;
    }));
  }
  std::size_t scanStops() const { return central->scanRecords().size() - scanStarts(); }
  /// A completion that appends to `outcomes`.
  static AbstractBeaconScanner::Completion recordInto(std::vector<ScanOutcome>& outcomes) {
    return [&outcomes](bool success, const std::optional<LumoraAdBeaconError>& error) {
      outcomes.push_back({success, error ? std::optional(error->code()) : std::nullopt,
                          error ? error->message() : ""});
    };
  }

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
