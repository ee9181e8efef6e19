#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ble/BleLocationService.hpp"
#include "platform/ble/IBeaconFrame.hpp"
#include "platform/sim/SimRadio.hpp"
#include "support/SimWorld.hpp"

namespace lumora::platform {
namespace {

constexpr const char* kUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
constexpr const char* kOtherUuid = "11111111-2222-3333-4444-555555555555";

// Each event as "<seconds since start> <what>".
class RecordingServiceDelegate : public LocationServiceDelegate {
 public:
  explicit RecordingServiceDelegate(std::function<double()> now) : now_(std::move(now)) {}
  void didChangeAuthorization(std::int64_t status) override {
    add("authorization " + std::to_string(status));
  }
  void didEnterRegion(const PlatformRegion& region) override { add("enter " + region.identifier); }
  void didExitRegion(const PlatformRegion& region) override { add("exit " + region.identifier); }
  void didDetermineState(std::int64_t state, const PlatformRegion& region) override {
    add("state " + std::to_string(state) + " " + region.identifier);
  }
  void didRangeBeaconsInRegion(const std::vector<PlatformBeacon>&, const PlatformRegion&) override {
    add("range in region");
  }
  void didRangeBeaconsSatisfying(const std::vector<PlatformBeacon>& beacons,
                                 const std::string& uuid) override {
    std::string listed;
    for (const auto& b : beacons) {
      listed += " " + std::to_string(b.major) + "." + std::to_string(b.minor);
    }
    add("range " + uuid.substr(0, 8) + listed);
  }
  void monitoringDidFail(const std::optional<PlatformRegion>&, const PlatformError&) override {
    add("monitoring failed");
  }
  void didFailWithError(const PlatformError&) override { add("failed"); }
  void didStartMonitoring(const PlatformRegion& region) override {
    add("started " + region.identifier);
  }

  std::vector<std::string> events;

 private:
  void add(const std::string& what) {
    char at[32];
    std::snprintf(at, sizeof at, "%g ", now_());
    events.push_back(at + what);
  }
  std::function<double()> now_;
};

class RegionMonitoring : public testing::SimWorld {
 protected:
  RegionMonitoring() {
    service->setDemandObserver([this](bool needed) { demand.push_back(needed); });
    service->setDelegate(delegate);
  }
  void hear(const char* uuid, std::uint16_t major, std::uint16_t minor) {
    service->onAdvertisement(SimRadio::iBeaconAdvertisement(uuid, major, minor));
  }
  void hearAt(double at, const char* uuid, std::uint16_t major, std::uint16_t minor) {
    platform->virtualQueue->scheduleTimer(at - secondsSinceStart(), false,
                                          [=, this](Timer&) { hear(uuid, major, minor); });
  }
  std::vector<std::string>& events() { return delegate->events; }

  std::shared_ptr<BleLocationService> service =
      BleLocationService::create(platform->virtualQueue, platform->virtualClock, 3);
  std::shared_ptr<RecordingServiceDelegate> delegate =
      std::make_shared<RecordingServiceDelegate>([this] { return secondsSinceStart(); });
  PlatformRegion region{"shop", std::string(kUuid)};
  std::vector<bool> demand;
};

// Entry when a matching beacon is first heard, exit on the first tick after 30 s of silence.
TEST_F(RegionMonitoring, EntryWhenAMatchingBeaconIsFirstHeardExitAfterThirtySecondsOfSilence) {
  service->startMonitoring(region);
  hearAt(1.0, kOtherUuid, 1, 1);
  hearAt(2.0, kUuid, 1, 2);
  hearAt(2.5, kUuid, 1, 3);
  runFor(32.9);
  EXPECT_EQ(events().back(), "2 enter shop");
  runFor(0.1);
  EXPECT_EQ(events().back(), "33 exit shop");
}

TEST_F(RegionMonitoring, StateIsInsideWhenABeaconIsAlreadyPresent) {
  runFor(0);
  hear(kUuid, 1, 2);
  service->startMonitoring(region);
  service->requestState(region);
  service->requestState({"geo-fence", std::nullopt});
  service->requestState({"elsewhere", std::string(kOtherUuid)});
  runFor(0);
  EXPECT_EQ(events(),
            (std::vector<std::string>{"0 authorization 3", "0 started shop", "0 state 1 shop",
                                      "0 state 0 geo-fence", "0 state 2 elsewhere"}));
}

TEST_F(RegionMonitoring, RangingListsTheBeaconsHeardInTheLastSecond) {
  service->startRangingBeacons("e2c56db5-dffb-48d2-b060-d0f5a71096e0");
  hearAt(1.5, kUuid, 7, 2);
  hearAt(1.5, kUuid, 7, 1);
  hearAt(1.5, kOtherUuid, 7, 3);
  runFor(3.0);
  EXPECT_EQ(events(), (std::vector<std::string>{"0 authorization 3", "1 range E2C56DB5",
                                                "2 range E2C56DB5 7.1 7.2", "3 range E2C56DB5"}));
  service->stopRangingBeacons(kUuid);
  runFor(5.0);
  EXPECT_EQ(events().size(), 4u);
}

TEST_F(RegionMonitoring, AStreamWithSparseReportsDeclaresItsGapAsGrace) {
  auto sparse = BleLocationService::create(platform->virtualQueue, platform->virtualClock, 3,
                                           {.rangingGraceSeconds = 2.5});
  auto recorder =
      std::make_shared<RecordingServiceDelegate>([this] { return secondsSinceStart(); });
  sparse->setDelegate(recorder);
  sparse->startRangingBeacons(kUuid);
  for (const double at : {0.5, 2.5}) {  // this stream reports a present beacon every 2 s
    platform->virtualQueue->scheduleTimer(at, false, [sparse](Timer&) {
      sparse->onAdvertisement(SimRadio::iBeaconAdvertisement(kUuid, 1, 2));
    });
  }
  runFor(6.0);
  EXPECT_EQ(recorder->events.at(4), "4 range E2C56DB5 1.2");
  EXPECT_EQ(recorder->events.at(5), "5 range E2C56DB5");
}

// Authorization is reported (posted, never inline) once after attach and on
// every change; without it nothing else is.
TEST_F(RegionMonitoring, DemandAndEventsFollowMonitoringRangingAndAuthorization) {
  EXPECT_TRUE(events().empty());
  service->startMonitoring(region);
  service->startRangingBeacons(kUuid);
  service->stopMonitoring(region);
  EXPECT_TRUE(service->needsAdvertisements());
  service->setAuthorizationStatus(2);
  EXPECT_FALSE(service->needsAdvertisements());
  service->setAuthorizationStatus(3);
  service->stopRangingBeacons(kUuid);
  EXPECT_EQ(demand, (std::vector<bool>{true, false, true, false}));

  service->setAuthorizationStatus(0);
  service->startMonitoring(region);
  service->startRangingBeacons(kUuid);
  hearAt(1.0, kUuid, 1, 2);
  runFor(5.0);
  EXPECT_EQ(events(),
            (std::vector<std::string>{"0 authorization 3", "0 started shop", "0 authorization 2",
                                      "0 authorization 3", "0 authorization 0"}));
}

TEST(IBeaconFrame, EncodesAndParsesTheStandardLayoutOnly) {
  const IBeaconFrame frame{kUuid, 0x0102, 0xFFFE, -59};
  const auto bytes = frame.encode();
  ASSERT_EQ(bytes.size(), IBeaconFrame::kLength);
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 6)),
            (std::vector<std::uint8_t>{0x4C, 0x00, 0x02, 0x15, 0xE2, 0xC5}));
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 20, bytes.end())),
            (std::vector<std::uint8_t>{0x01, 0x02, 0xFF, 0xFE, 0xC5}));
  EXPECT_EQ(IBeaconFrame::parse(bytes), frame);
  EXPECT_THROW(IBeaconFrame({"not-a-uuid", 1, 2, -59}).encode(), std::invalid_argument);
  // Other manufacturer data: another company, or a shorter frame.
  auto otherCompany = bytes;
  otherCompany[0] ^= 0xFF;
  EXPECT_FALSE(IBeaconFrame::parse(otherCompany));
  EXPECT_FALSE(IBeaconFrame::parse(std::span(bytes).first(24)));
}

}  // namespace
}  // namespace lumora::platform
