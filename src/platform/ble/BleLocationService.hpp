#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "platform/BleCentral.hpp"
#include "platform/Clock.hpp"
#include "platform/LocationService.hpp"
#include "platform/MainQueue.hpp"

namespace lumora::platform {

/// How a BleLocationService's advertisement stream behaves, and how long
/// presence lasts.
struct BleLocationTiming {
  /// The longest silence the stream may leave about a beacon that is still
  /// there; 0 for a stream that carries every advertisement heard.
  double rangingGraceSeconds = 0.0;
  /// Silence after which a beacon no longer counts for region monitoring.
  double exitAfterSeconds = 30.0;
};

/// Region monitoring and beacon ranging computed from a stream of received
/// Bluetooth LE advertisements. The owner feeds every advertisement it hears
/// to onAdvertisement() and decides the authorization status; this class does
/// the rest:
///
/// - Ranging: once a second, every active UUID constraint gets a
///   didRangeBeaconsSatisfying report listing the beacons with that UUID
///   (see IBeaconFrame) heard during the last ranging interval, ordered by
///   major then minor; the list may be empty. A stream that reports a present
///   beacon less often than once a second declares that gap as its
///   `rangingGraceSeconds`: a beacon heard within that time is listed too.
/// - Monitoring: a beacon counts as present for monitoring from the first
///   advertisement heard until it has been silent for `exitAfterSeconds`. A
///   monitored beacon region is inside while a beacon with its proximity UUID
///   is present. The first such beacon heard reports didEnterRegion; losing
///   the last one reports didExitRegion (checked once a second).
///   startMonitoring reports didStartMonitoring only; requestState reports
///   the region's current state (1 inside, 2 outside, 0 for a region without
///   a proximity UUID).
/// - Authorization: reported once to each newly attached delegate and on every
///   change. While the status is neither authorizedAlways (3) nor
///   authorizedWhenInUse (4), region and ranging events are withheld, as the
///   operating system does without location permission.
///
/// Every delegate call is posted to the main queue. Call everything on the main
/// queue. The owner learns through the demand observer when it must keep the
/// advertisement stream running (authorized, and monitoring or ranging
/// something): the Linux backend uses it to run a BLE discovery only then.
///
///   auto service = BleLocationService::create(queue, clock, 3, {.rangingGraceSeconds = 2.5});
///   service->setDemandObserver([&](bool needed) { needed ? startDiscovery() : stopDiscovery(); });
///   onEachAdvertisement([&](const AdvertisementData& ad) { service->onAdvertisement(ad); });
class BleLocationService : public LocationService,
                           public std::enable_shared_from_this<BleLocationService> {
 public:
  static constexpr double kRangingIntervalSeconds = 1.0;
  static constexpr std::int64_t kAuthorizedAlways = 3;
  static constexpr std::int64_t kAuthorizedWhenInUse = 4;

  using DemandObserver = std::function<void(bool needsAdvertisements)>;

  using Timing = BleLocationTiming;

  static std::shared_ptr<BleLocationService> create(std::shared_ptr<MainQueue> mainQueue,
                                                    std::shared_ptr<Clock> clock,
                                                    std::int64_t authorizationStatus,
                                                    Timing timing = {});
  ~BleLocationService() override;

  /// One received advertisement; anything but an iBeacon frame is ignored.
  void onAdvertisement(const AdvertisementData& advertisement);
  /// Changes the status; a different value is reported to the delegate.
  void setAuthorizationStatus(std::int64_t status);
  /// Called with the new demand whenever it changes.
  void setDemandObserver(DemandObserver observer);
  /// Whether advertisements are needed now.
  bool needsAdvertisements() const;

  void setDelegate(std::weak_ptr<LocationServiceDelegate> delegate) override;
  std::int64_t authorizationStatus() const override;
  /// Authorization is the owner's decision; these requests change nothing.
  void requestWhenInUseAuthorization() override;
  void requestAlwaysAuthorization() override;
  void startMonitoring(const PlatformRegion& region) override;
  void stopMonitoring(const PlatformRegion& region) override;
  void requestState(const PlatformRegion& region) override;
  void startRangingBeacons(const std::string& uuidConstraint) override;
  void stopRangingBeacons(const std::string& uuidConstraint) override;
  std::vector<PlatformRegion> monitoredRegions() const override;

 protected:
  BleLocationService(std::shared_ptr<MainQueue> mainQueue, std::shared_ptr<Clock> clock,
                     std::int64_t authorizationStatus, Timing timing);

 private:
  using BeaconKey = std::tuple<std::string, std::int64_t, std::int64_t>;  // uuid, major, minor
  struct HeardBeacon {
    PlatformBeacon beacon;
    TimePoint lastHeard;
    std::uint64_t interval = 0;  // the ranging interval it was last heard in
  };
  struct MonitoredRegion {
    PlatformRegion region;
    bool inside = false;
  };

  bool authorized() const;
  bool isPresent(const std::string& uuid) const;
  /// The beacons of the UUID heard in the current ranging interval or within the grace.
  std::vector<PlatformBeacon> rangedBeacons(const std::string& uuid) const;
  std::int64_t stateOf(const PlatformRegion& region) const;
  /// Forgets beacons silent for the exit period and reports regions left.
  void refreshPresence();
  /// Reports entry for every monitored region of the UUID not yet inside.
  void enterRegionsOf(const std::string& uuid);
  void tick();
  /// Starts or stops the one-second tick and tells the demand observer.
  void updateDemand();
  /// Posts a delegate call; region and ranging events only while authorized.
  void deliver(std::function<void(LocationServiceDelegate&)> call, bool isRegionEvent = true);

  const std::shared_ptr<MainQueue> mainQueue_;
  const std::shared_ptr<Clock> clock_;
  const Timing timing_;
  std::int64_t authorizationStatus_;
  std::weak_ptr<LocationServiceDelegate> delegate_;
  DemandObserver demandObserver_;
  bool demand_ = false;
  std::vector<MonitoredRegion> monitored_;
  std::set<std::string> rangingConstraints_;
  std::map<BeaconKey, HeardBeacon> present_;
  std::uint64_t interval_ = 0;  // counts the ranging intervals begun
  std::shared_ptr<Timer> tickTimer_;
};

}  // namespace lumora::platform
