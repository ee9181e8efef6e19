#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/beacon/LocationManagerAdapter.hpp"
#include "platform/sim/SimRadio.hpp"
#include "support/SimWorld.hpp"

namespace lumora::testing {
namespace {

constexpr const char* kUuid = "11111111-2222-3333-4444-555555555555";
constexpr const char* kAdapter = "LocationManagerAdapter";
constexpr const char* kStateFunction = "locationManager(_:didDetermineState:for:)";

// Writes each event as one line into a list the test owns, so that what a
// released delegate would have received stays visible.
class RecordingLocationDelegate : public LocationManagerDelegate {
 public:
  explicit RecordingLocationDelegate(std::vector<std::string>& events) : events_(events) {}
  void didChangeAuthorization(LocationAuthorizationStatus status) override {
    events_.push_back("authorization " + std::string(caseName(status)));
  }
  void didEnterRegion(const BeaconRegion& region) override { record("enter", region); }
  void didExitRegion(const BeaconRegion& region) override { record("exit", region); }
  void didRangeBeacons(const std::vector<Beacon>& beacons, const BeaconRegion& region) override {
    record("range " + std::to_string(beacons.size()), region);
  }

 private:
  void record(const std::string& what, const BeaconRegion& region) {
    events_.push_back(what + " " + region.identifier() + " " + region.uuid().text());
  }
  std::vector<std::string>& events_;
};

class LocationAdapter : public SimWorld {
 protected:
  LocationAdapter() {
    adapter->setDelegate(delegate);
    runFor(0);
    events.clear();
  }

  const std::shared_ptr<platform::SimLocationService> location = phone.location;
  std::shared_ptr<LocationManagerAdapter> adapter = LocationManagerAdapter::create(location);
  std::vector<std::string> events;
  std::shared_ptr<RecordingLocationDelegate> delegate =
      std::make_shared<RecordingLocationDelegate>(events);
  platform::PlatformRegion beaconRegion{"shop", kUuid};
};

TEST_F(LocationAdapter,
       StatusesOutsideTheKnownRangeAreNotDeterminedAndAReleasedDelegateHearsNothing) {
  location->setAuthorizationStatus(7);
  runFor(0);
  EXPECT_EQ(events, std::vector<std::string>{"authorization notDetermined"});
  EXPECT_EQ(adapter->authorizationStatus(), LocationAuthorizationStatus::notDetermined);
  EXPECT_EQ(LocationManagerAdapter::convert(-1), LocationAuthorizationStatus::notDetermined);
  EXPECT_EQ(LocationManagerAdapter::convert(4), LocationAuthorizationStatus::authorizedWhenInUse);

  events.clear();
  delegate.reset();
  adapter->didEnterRegion(beaconRegion);
  adapter->didDetermineState(1, beaconRegion);
  adapter->didRangeBeaconsSatisfying({{kUuid, 1, 2, -60}}, kUuid);
  location->setAuthorizationStatus(2);
  runFor(0);
  EXPECT_TRUE(events.empty());
}

TEST_F(LocationAdapter, StateReportsBecomeEntryOrExitForBeaconRegionsOnlyAndRangingNamesItsRegion) {
  adapter->didDetermineState(1, beaconRegion);
  adapter->didDetermineState(2, beaconRegion);
  adapter->didDetermineState(0, beaconRegion);
  adapter->didDetermineState(9, beaconRegion);
  adapter->didDetermineState(1, {"geo-fence", std::nullopt});
  const std::string suffix = std::string(" shop ") + kUuid;
  EXPECT_EQ(events, (std::vector<std::string>{"enter" + suffix, "exit" + suffix}));

  const auto lines = logLines(kAdapter);
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[5], std::string("DEBUG ") + kStateFunction + ": Unknown region state");
  EXPECT_EQ(lines[7], std::string("DEBUG ") + kStateFunction + ": Unknown region state: 9");

  // Constraint ranging names the region after the upper-case UUID.
  events.clear();
  adapter->didRangeBeaconsSatisfying({{kUuid, 1, 2, -60}}, "11111111-2222-3333-4444-555555555555");
  adapter->didRangeBeaconsSatisfying({}, "aaaaaaaa-2222-3333-4444-555555555555");
  EXPECT_EQ(events,
            (std::vector<std::string>{std::string("range 1 constraint-") + kUuid + " " + kUuid,
                                      "range 0 constraint-AAAAAAAA-2222-3333-4444-555555555555 "
                                      "AAAAAAAA-2222-3333-4444-555555555555"}));
}

TEST_F(LocationAdapter, StartMonitoringAsksForEveryNotificationAndTheCurrentStateOnce) {
  location->onAdvertisement(platform::SimRadio::iBeaconAdvertisement(kUuid, 1, 2));
  adapter->startMonitoring(BeaconRegion(*Uuid::parse(kUuid), "shop"));
  const auto monitored = location->monitoredRegions();
  ASSERT_EQ(monitored.size(), 1u);
  EXPECT_TRUE(monitored[0].notifyOnEntry && monitored[0].notifyOnExit &&
              monitored[0].notifyEntryStateOnDisplay);
  EXPECT_EQ(adapter->monitoredRegions(),
            std::vector<BeaconRegion>{BeaconRegion(*Uuid::parse(kUuid), "shop")});

  runFor(0);
  EXPECT_EQ(logLines(kAdapter).at(1),
            "DEBUG locationManager(_:didStartMonitoringFor:): Started monitoring for region: shop");
  EXPECT_EQ(events, std::vector<std::string>{std::string("enter shop ") + kUuid});
}

TEST_F(LocationAdapter, FailuresAreLoggedAsErrorsOnly) {
  adapter->monitoringDidFail(beaconRegion, {"kCLErrorDomain", 5, "region limit"});
  adapter->monitoringDidFail(std::nullopt, {"kCLErrorDomain", 4, "no region"});
  adapter->didFailWithError({"kCLErrorDomain", 1, "denied"});
  const std::string monitoring = "ERROR locationManager(_:monitoringDidFailFor:withError:): ";
  EXPECT_EQ(logLines(kAdapter),
            (std::vector<std::string>{
                monitoring + "Monitoring failed for region shop: region limit",
                monitoring + "Monitoring failed: no region",
                "ERROR locationManager(_:didFailWithError:): Location manager failed: denied"}));
  EXPECT_TRUE(events.empty());
}

}  // namespace
}  // namespace lumora::testing
