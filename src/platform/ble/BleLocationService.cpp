#include "platform/ble/BleLocationService.hpp"

#include <algorithm>
#include <cctype>

#include "platform/ble/IBeaconFrame.hpp"

namespace lumora::platform {
namespace {

constexpr std::int64_t kStateUnknown = 0;
constexpr std::int64_t kStateInside = 1;
constexpr std::int64_t kStateOutside = 2;

// UUID texts are compared in their canonical upper-case form.
std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

PlatformRegion normalized(PlatformRegion region) {
  if (region.beaconUuid) region.beaconUuid = upperCase(*region.beaconUuid);
  return region;
}

}  // namespace

std::shared_ptr<BleLocationService> BleLocationService::create(std::shared_ptr<MainQueue> mainQueue,
                                                               std::shared_ptr<Clock> clock,
                                                               std::int64_t authorizationStatus,
                                                               Timing timing) {
  return std::shared_ptr<BleLocationService>(
      new BleLocationService(std::move(mainQueue), std::move(clock), authorizationStatus, timing));
}

BleLocationService::BleLocationService(std::shared_ptr<MainQueue> mainQueue,
                                       std::shared_ptr<Clock> clock,
                                       std::int64_t authorizationStatus, Timing timing)
    : mainQueue_(std::move(mainQueue)),
      clock_(std::move(clock)),
      timing_(timing),
      authorizationStatus_(authorizationStatus) {}

BleLocationService::~BleLocationService() {
  if (tickTimer_) tickTimer_->invalidate();
}

void BleLocationService::onAdvertisement(const AdvertisementData& advertisement) {
  if (!advertisement.manufacturerData) return;
  const auto frame = IBeaconFrame::parse(*advertisement.manufacturerData);
  if (!frame) return;
  refreshPresence();
  auto& heard = present_[BeaconKey{frame->proximityUuid, frame->major, frame->minor}];
  heard.beacon =
      PlatformBeacon{frame->proximityUuid, frame->major, frame->minor, advertisement.rssi};
  heard.lastHeard = clock_->now();
  heard.interval = interval_;
  enterRegionsOf(frame->proximityUuid);
}

void BleLocationService::setAuthorizationStatus(std::int64_t status) {
  if (status == authorizationStatus_) return;
  authorizationStatus_ = status;
  deliver([status](LocationServiceDelegate& d) { d.didChangeAuthorization(status); }, false);
  updateDemand();
}

void BleLocationService::setDemandObserver(DemandObserver observer) {
  demandObserver_ = std::move(observer);
}

bool BleLocationService::needsAdvertisements() const { return demand_; }

void BleLocationService::setDelegate(std::weak_ptr<LocationServiceDelegate> delegate) {
  delegate_ = std::move(delegate);
  deliver([status = authorizationStatus_](
              LocationServiceDelegate& d) { d.didChangeAuthorization(status); },
          false);
}

std::int64_t BleLocationService::authorizationStatus() const { return authorizationStatus_; }

void BleLocationService::requestWhenInUseAuthorization() {}

void BleLocationService::requestAlwaysAuthorization() {}

void BleLocationService::startMonitoring(const PlatformRegion& region) {
  refreshPresence();
  MonitoredRegion entry{normalized(region), false};
  entry.inside = stateOf(entry.region) == kStateInside;
  const auto same = std::find_if(monitored_.begin(), monitored_.end(), [&](const auto& m) {
    return m.region.identifier == region.identifier;
  });
  if (same != monitored_.end()) {
    *same = entry;
  } else {
    monitored_.push_back(entry);
  }
  deliver([region = entry.region](LocationServiceDelegate& d) { d.didStartMonitoring(region); });
  updateDemand();
}

void BleLocationService::stopMonitoring(const PlatformRegion& region) {
  std::erase_if(monitored_,
                [&](const auto& m) { return m.region.identifier == region.identifier; });
  updateDemand();
}

void BleLocationService::requestState(const PlatformRegion& region) {
  refreshPresence();
  deliver([state = stateOf(normalized(region)), region](LocationServiceDelegate& d) {
    d.didDetermineState(state, region);
  });
}

void BleLocationService::startRangingBeacons(const std::string& uuidConstraint) {
  rangingConstraints_.insert(upperCase(uuidConstraint));
  updateDemand();
}

void BleLocationService::stopRangingBeacons(const std::string& uuidConstraint) {
  rangingConstraints_.erase(upperCase(uuidConstraint));
  updateDemand();
}

std::vector<PlatformRegion> BleLocationService::monitoredRegions() const {
  std::vector<PlatformRegion> regions;
  for (const auto& m : monitored_) regions.push_back(m.region);
  return regions;
}

bool BleLocationService::authorized() const {
  return authorizationStatus_ == kAuthorizedAlways || authorizationStatus_ == kAuthorizedWhenInUse;
}

bool BleLocationService::isPresent(const std::string& uuid) const {
  const auto first = present_.lower_bound(BeaconKey{uuid, INT64_MIN, INT64_MIN});
  return first != present_.end() && std::get<0>(first->first) == uuid;
}

std::vector<PlatformBeacon> BleLocationService::rangedBeacons(const std::string& uuid) const {
  const auto now = clock_->now();
  std::vector<PlatformBeacon> beacons;
  for (auto it = present_.lower_bound(BeaconKey{uuid, INT64_MIN, INT64_MIN});
       it != present_.end() && std::get<0>(it->first) == uuid; ++it) {
    const auto& heard = it->second;
    const double silence = std::chrono::duration<double>(now - heard.lastHeard).count();
    if (heard.interval == interval_ || silence < timing_.rangingGraceSeconds) {
      beacons.push_back(heard.beacon);
    }
  }
  return beacons;
}

std::int64_t BleLocationService::stateOf(const PlatformRegion& region) const {
  if (!region.beaconUuid) return kStateUnknown;
  return isPresent(*region.beaconUuid) ? kStateInside : kStateOutside;
}

void BleLocationService::refreshPresence() {
  const auto now = clock_->now();
  std::erase_if(present_, [&](const auto& entry) {
    return std::chrono::duration<double>(now - entry.second.lastHeard).count() >=
           timing_.exitAfterSeconds;
  });
  for (auto& m : monitored_) {
    if (!m.inside || stateOf(m.region) == kStateInside) continue;
    m.inside = false;
    deliver([region = m.region](LocationServiceDelegate& d) { d.didExitRegion(region); });
  }
}

void BleLocationService::enterRegionsOf(const std::string& uuid) {
  for (auto& m : monitored_) {
    if (m.inside || m.region.beaconUuid != uuid) continue;
    m.inside = true;
    deliver([region = m.region](LocationServiceDelegate& d) { d.didEnterRegion(region); });
  }
}

void BleLocationService::tick() {
  refreshPresence();
  for (const auto& uuid : rangingConstraints_) {
    deliver([beacons = rangedBeacons(uuid), uuid](LocationServiceDelegate& d) {
      d.didRangeBeaconsSatisfying(beacons, uuid);
    });
  }
  ++interval_;
}

void BleLocationService::updateDemand() {
  const bool demand = authorized() && (!monitored_.empty() || !rangingConstraints_.empty());
  if (demand && !tickTimer_) {
    ++interval_;  // what was heard while nothing ran belongs to no report
    std::weak_ptr<BleLocationService> weakSelf = weak_from_this();
    tickTimer_ = mainQueue_->scheduleTimer(kRangingIntervalSeconds, true, [weakSelf](Timer&) {
      if (auto self = weakSelf.lock()) self->tick();
    });
  } else if (!demand && tickTimer_) {
    tickTimer_->invalidate();
    tickTimer_.reset();
  }
  if (demand == demand_) return;
  demand_ = demand;
  if (demandObserver_) demandObserver_(demand);
}

void BleLocationService::deliver(std::function<void(LocationServiceDelegate&)> call,
                                 bool isRegionEvent) {
  if (isRegionEvent && !authorized()) return;
  mainQueue_->post([target = delegate_, call = std::move(call)] {
    if (auto delegate = target.lock()) call(*delegate);
  });
}

}  // namespace lumora::platform
