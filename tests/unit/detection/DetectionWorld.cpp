#include "DetectionWorld.hpp"

#include <algorithm>

namespace lumora::testing {

DetectionWorld::DetectionWorld(BeaconSettings beaconSettings)
    : settings(std::move(beaconSettings)),
      appleScanner(AppleBeaconScanner::create(locationAdapter, settings)),
      centralAdapter(CBCentralManagerAdapter::create(central, platform->virtualQueue)),
      customScanner(CustomBeaconScanner::create(centralAdapter, locationAdapter, settings)),
      manager(BeaconManager::create(appleScanner, customScanner, settings, platform->virtualQueue,
                                    platform->virtualClock)) {
  manager->setListener(listener);
}

platform::AdvertisementData DetectionWorld::customBeacon(std::uint32_t bindingId) const {
  return platform::SimRadio::customBeaconAdvertisement(kSpaceId, bindingId, kServiceUuid);
}

platform::AdvertisementData DetectionWorld::iBeacon() const {
  return platform::SimRadio::iBeaconAdvertisement(kRegionUuid, 1, 2);
}

void DetectionWorld::iBeaconEverySecond(double from, double until) {
  platform->virtualQueue->scheduleTimer(
      from - secondsSinceStart(), false,
      [this, until](platform::Timer&) { radio->transmitEvery(iBeacon(), 1.0, timeAt(until)); });
}

void DetectionWorld::transmitAt(double secondsSinceStart,
                                const platform::AdvertisementData& advertisement) {
  radio->transmitAfter(secondsSinceStart - this->secondsSinceStart(), advertisement);
}

void DetectionWorld::setLocationStatus(LocationAuthorizationStatus status) {
  location->setAuthorizationStatus(static_cast<std::int64_t>(status));
}

std::size_t DetectionWorld::scanStarts() const {
  const auto& records = central->scanRecords();
  return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [](const auto& r) {
    return r.action == platform::SimBleCentral::ScanRecord::Action::start;
  }));
}

std::size_t DetectionWorld::scanStops() const {
  return central->scanRecords().size() - scanStarts();
}

AbstractBeaconScanner::Completion DetectionWorld::recordInto(
    std::vector<ScanOutcome>& outcomes) const {
  return [&outcomes](bool success, const std::optional<LumoraAdBeaconError>& error) {
    outcomes.push_back({success, error ? std::optional(error->code()) : std::nullopt,
                        error ? error->message() : ""});
  };
}

}  // namespace lumora::testing
