#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/BluezCentralWorld.hpp"

namespace lumora::platform {
namespace {

using test::MockBluez;

constexpr const char* kService = "0000FEAA-0000-1000-8000-00805F9B34FB";
constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";

class ScanDelegate : public BleCentralDelegate {
 public:
  void centralDidUpdateState(std::int64_t state) override { this->state = state; }
  void centralDidDiscover(const AdvertisementData& advertisement) override {
    peripherals.push_back(advertisement.peripheralId);
  }
  std::int64_t state = -1;
  std::vector<std::string> peripherals;
};

bool contains(const std::vector<std::string>& items, const std::string& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

// The advertisement monitor beside scanForPeripherals: one discovery serves both.
class BluezMonitorTest : public test::BluezCentralWorld {
 protected:
  void makeCentral(double restartSeconds = 60) {
    BluezCentral::Options options;
    options.discoveryRestartSeconds = restartSeconds;
    BluezCentralWorld::makeCentral(options, delegate);
  }

  bool monitorHeard(const std::string& address) const {
    return std::any_of(heard.begin(), heard.end(), [&](const auto& ad) {
      return ad.peripheralId == address && ad.manufacturerData.has_value();
    });
  }

  std::shared_ptr<ScanDelegate> delegate = std::make_shared<ScanDelegate>();
};

TEST_F(BluezMonitorTest, DemandAloneRunsAnUnfilteredRestartedDiscoveryFeedingOnlyTheMonitor) {
  makeCentral(0.05);
  central->setMonitoringDemand(true);
  ASSERT_TRUE(
      until([&] { return bluez->adapterCalls("StopDiscovery") >= 2 && bluez->discovering(); }));
  const auto filter = bluez->lastDiscoveryFilter();
  EXPECT_TRUE(filter.uuids.empty());
  EXPECT_EQ(filter.transport, "le");
  EXPECT_TRUE(filter.duplicateData);

  const auto beacon = bluez->addDevice("AA:BB:CC:DD:EE:10");
  bluez->advertise(beacon, 0x004c, MockBluez::iBeaconFrame(kIBeaconUuid, 1, 2));
  ASSERT_TRUE(until([&] { return monitorHeard("AA:BB:CC:DD:EE:10"); }));
  EXPECT_TRUE(delegate->peripherals.empty());  // no scan was requested

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  const auto starts = bluez->adapterCalls("StartDiscovery");
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), starts);
}

TEST_F(BluezMonitorTest, WithBothConsumersTheFilterIsTheUnionAndTheScanStillSeesOnlyItsService) {
  makeCentral();
  central->setMonitoringDemand(true);
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("SetDiscoveryFilter") >= 2; }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);

  const auto ibeacon = bluez->addDevice("AA:BB:CC:DD:EE:11");
  bluez->advertise(ibeacon, 0x004c, MockBluez::iBeaconFrame(kIBeaconUuid, 1, 2));
  const auto custom = bluez->addDevice("AA:BB:CC:DD:EE:12");
  bluez->setServiceUuids(custom, {kService});
  bluez->advertise(custom, 0x1234, {0x03, 1, 2, 3});
  ASSERT_TRUE(until([&] {
    return monitorHeard("AA:BB:CC:DD:EE:11") && monitorHeard("AA:BB:CC:DD:EE:12") &&
           contains(delegate->peripherals, "AA:BB:CC:DD:EE:12");
  }));
  EXPECT_FALSE(contains(delegate->peripherals, "AA:BB:CC:DD:EE:11"));

  // Stopping the scan leaves the monitor's discovery running and fed.
  const auto stops = bluez->adapterCalls("StopDiscovery");
  central->stopScan();
  settle();
  EXPECT_TRUE(bluez->discovering());
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), stops);
  heard.clear();
  bluez->advertise(ibeacon, 0x004c, MockBluez::iBeaconFrame(kIBeaconUuid, 1, 3));
  ASSERT_TRUE(until([&] { return monitorHeard("AA:BB:CC:DD:EE:11"); }));

  // Without the monitor the scan's own filter comes back.
  central->scanForPeripherals({kService}, true);
  central->setMonitoringDemand(false);
  ASSERT_TRUE(until(
      [&] { return bluez->lastDiscoveryFilter().uuids == std::vector<std::string>{kService}; }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);
  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
}

TEST_F(BluezMonitorTest, DemandWhilePoweredOffStartsDiscoveryWhenTheAdapterPowersOn) {
  makeCentral();
  bluez->setPowered(false);
  ASSERT_TRUE(until([&] { return central->state() == 4; }));
  central->setMonitoringDemand(true);
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  bluez->setPowered(true);
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
}

}  // namespace
}  // namespace lumora::platform
