#include "DetectionWorld.hpp"

#include <algorithm>

namespace lumora::testing {

DetectionWorld::DetectionWorld(BeaconSettings beaconSettings)
    : settings(std::move(beaconSettings)),
      radio(platform::SimRadio::create(platform->virtualQueue, platform->virtualClock)),
      central(std::make_shared<platform::SimBleCentral>(platform->virtualQueue)),
      location(platform::SimLocationService::create(
          platform->virtualQueue, platform->virtualClock,
          static_cast<std::int64_t>(LocationAuthorizationStatus::authorizedAlways))) {
  radio->addReceiver(central);
  radio->addReceiver(location);
  platform->central = central;
  platform->location = location;

  locationAdapter = LocationManagerAdapter::create(location);
  appleScanner = AppleBeaconScanner::create(locationAdapter, settings);
  centralAdapter = CBCentralManagerAdapter::create(central, platform->virtualQueue);
  customScanner = CustomBeaconScanner::create(centralAdapter, locationAdapter, settings);
  manager = BeaconManager::create(appleScanner, customScanner, settings, platform->virtualQueue,
                                  platform->virtualClock);
  listener = std::make_shared<RecordingBeaconListener>();
  manager->setListener(listener);
}

platform::AdvertisementData DetectionWorld::customBeacon(std::uint32_t bindingId) const {
  return platform::SimRadio::customBeaconAdvertisement(kSpaceId, bindingId, kServiceUuid);
}

platform::AdvertisementData DetectionWorld::iBeacon() const {
  return platform::SimRadio::iBeaconAdvertisement(kRegionUuid, 1, 2);
}

platform::TimePoint DetectionWorld::timeAt(double secondsSinceStart) {
  return platform::VirtualClock::fromSeconds(kStartSeconds + secondsSinceStart);
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

void DetectionWorld::runUntil(double secondsSinceStart) {
  runFor(secondsSinceStart - this->secondsSinceStart());
}

std::size_t DetectionWorld::countLogs(LogLevel level, const std::string& file,
                                      const std::string& function,
                                      const std::string& message) const {
  const auto records = platform->log->records();
  return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [&](const auto& r) {
    return r.level == static_cast<std::int64_t>(level) && r.file == file &&
           r.function == function && r.message == message;
  }));
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
    ScanOutcome outcome{success, std::nullopt, ""};
    if (error) {
      outcome.code = error->code();
      outcome.message = error->message();
    }
    outcomes.push_back(outcome);
  };
}

}  // namespace lumora::testing
