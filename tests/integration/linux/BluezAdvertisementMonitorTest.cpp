#include <gtest/gtest.h>

#include <algorithm>

#include "support/BluezCentralWorld.hpp"

namespace lumora::platform {
namespace {

using test::MockBluez;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kService = "0000FEAA-0000-1000-8000-00805F9B34FB";
constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
constexpr const char* kBeaconAddress = "AA:BB:CC:DD:EE:20";

Bytes iBeacon(std::uint16_t minor) { return MockBluez::iBeaconFrame(kIBeaconUuid, 1, minor); }

// The monitoring consumer: BlueZ's advertisement monitor where bluetoothd
// offers it, else an unfiltered discovery shared with scanForPeripherals.
class BluezAdvertisementMonitorTest : public test::BluezCentralWorld {
 protected:
  void makeCentral(double restartSeconds = 60, double refreshSeconds = 60) {
    BluezCentral::Options options;
    options.discoveryRestartSeconds = restartSeconds;
    options.monitorRefreshSeconds = refreshSeconds;
    BluezCentralWorld::makeCentral(options);
    ASSERT_TRUE(reachState(5));
  }

  /// Demands monitoring and answers the application root it registered.
  std::string demandAndRegister() {
    central->setMonitoringDemand(true);
    EXPECT_TRUE(until([&] { return bluez->registeredRoots().size() == 1; }));
    const auto roots = bluez->registeredRoots();
    return roots.empty() ? "" : roots.front();
  }

  /// How often the monitor heard this iBeacon frame from `address`.
  std::size_t heardWith(const Bytes& frame, const std::string& address = kBeaconAddress) const {
    Bytes data(frame.size() + 2);
    data[0] = 0x4c;  // Apple's company identifier, little-endian
    std::copy(frame.begin(), frame.end(), data.begin() + 2);
    return static_cast<std::size_t>(std::count_if(heard.begin(), heard.end(), [&](const auto& ad) {
      return ad.peripheralId == address && ad.manufacturerData == data;
    }));
  }
};

TEST_F(BluezAdvertisementMonitorTest, DemandRegistersAnIBeaconMonitorFedWhileItsDeviceIsFound) {
  bluez->addMonitorManager();
  makeCentral(0.05, 0.05);
  const auto root = demandAndRegister();
  const auto monitors = bluez->monitorsAt(root);
  ASSERT_EQ(monitors.size(), 1u);
  EXPECT_EQ(monitors[0].type, "or_patterns");
  EXPECT_EQ(monitors[0].patterns,
            (std::vector<MockBluez::Pattern>{{0, 0xff, {0x4c, 0x00, 0x02, 0x15}}}));

  // No discovery, hence no restarts, for the monitor alone; a device bluetoothd
  // has not reported found does not reach the monitor.
  const auto beacon = bluez->addDevice(kBeaconAddress);
  bluez->advertise(beacon, {{0x004c, iBeacon(2)}}, -67);
  settle();
  EXPECT_TRUE(heard.empty());

  // Once found, the unchanged advertisement keeps being heard, and so do new ones.
  bluez->callMonitor(monitors[0].path, "DeviceFound", beacon);
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(2)) >= 4; }));
  EXPECT_EQ(heard.back().rssi, -67);
  bluez->advertise(beacon, 0x004c, iBeacon(3));
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(3)) > 0; }));

  // Once lost, nothing more: neither repeats nor new advertisements.
  bluez->callMonitor(monitors[0].path, "DeviceLost", beacon);
  bluez->advertise(beacon, 0x004c, iBeacon(4));
  settle();
  EXPECT_EQ(heardWith(iBeacon(4)), 0u);
  heard.clear();
  settle();
  EXPECT_TRUE(heard.empty());

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return bluez->unregisteredRoots().size() == 1; }));
  EXPECT_EQ(bluez->unregisteredRoots().front(), root);
  EXPECT_THROW(bluez->monitorsAt(root), std::runtime_error);  // the objects are gone too
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), 0u);
}

TEST_F(BluezAdvertisementMonitorTest, TheScanKeepsItsOwnDiscoveryFilterBesideTheMonitor) {
  bluez->addMonitorManager();
  makeCentral();
  demandAndRegister();
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  EXPECT_EQ(bluez->lastDiscoveryFilter().uuids, std::vector<std::string>{kService});
  EXPECT_FALSE(bluez->lastDiscoveryFilter().duplicateData);
  settle();
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), 0u);  // no restarts without duplicates

  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  EXPECT_TRUE(bluez->unregisteredRoots().empty());  // the monitor stays registered
}

TEST_F(BluezAdvertisementMonitorTest, ANewBluetoothdGetsTheMonitorAndDestructionUnregistersIt) {
  bluez->addMonitorManager();
  makeCentral();
  demandAndRegister();

  // A fresh bluetoothd announces its adapter first and the manager after it:
  // discovery serves the monitor in between and stops once the monitor is back.
  bluez->restart();
  bluez->addAdapter();
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  bluez->addMonitorManager();
  ASSERT_TRUE(until([&] { return bluez->registeredRoots().size() == 1 && !bluez->discovering(); }));
  const auto root = bluez->registeredRoots().front();
  EXPECT_EQ(bluez->monitorsAt(root).size(), 1u);

  central.reset();
  ASSERT_TRUE(until([&] { return bluez->unregisteredRoots().size() == 1; }));
  EXPECT_EQ(bluez->unregisteredRoots().front(), root);
}

// Without a monitor (no API, or registration refused), an unfiltered
// discovery, restarted so that unchanged advertisements are heard again,
// feeds the monitor and only it, until the demand ends.
class BluezMonitorFallbackTest : public BluezAdvertisementMonitorTest,
                                 public ::testing::WithParamInterface<bool> {};

TEST_P(BluezMonitorFallbackTest, DemandRunsAnUnfilteredRestartedDiscoveryFeedingOnlyTheMonitor) {
  const bool refused = GetParam();
  if (refused) bluez->addMonitorManager("org.bluez.Error.Failed");
  makeCentral(0.05);
  central->setMonitoringDemand(true);
  ASSERT_TRUE(
      until([&] { return bluez->adapterCalls("StopDiscovery") >= 2 && bluez->discovering(); }));
  EXPECT_EQ(bluez->registeredRoots().size(), refused ? 1u : 0u);
  const auto filter = bluez->lastDiscoveryFilter();
  EXPECT_TRUE(filter.uuids.empty());
  EXPECT_EQ(filter.transport, "le");
  EXPECT_TRUE(filter.duplicateData);

  bluez->advertise(bluez->addDevice(kBeaconAddress), 0x004c, iBeacon(2));
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(2)) > 0; }));
  EXPECT_TRUE(delegate->advertisements.empty());  // no scan was requested

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  const auto starts = bluez->adapterCalls("StartDiscovery");
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), starts);
}

INSTANTIATE_TEST_SUITE_P(NoApiOrRefused, BluezMonitorFallbackTest, ::testing::Bool());

TEST_F(BluezAdvertisementMonitorTest, WithBothConsumersTheFilterIsTheUnionAndTheScanSeesItsOwn) {
  makeCentral();
  central->setMonitoringDemand(true);
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("SetDiscoveryFilter") >= 2; }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);

  const auto beacon = bluez->addDevice(kBeaconAddress);
  bluez->advertise(beacon, 0x004c, iBeacon(2));
  const auto custom = bluez->addDevice("AA:BB:CC:DD:EE:12");
  bluez->setServiceUuids(custom, {kService});
  bluez->advertise(custom, 0x1234, {0x03, 1, 2, 3});
  const auto monitorHeard = [&](const std::string& address) {
    return std::any_of(heard.begin(), heard.end(),
                       [&](const auto& ad) { return ad.peripheralId == address; });
  };
  ASSERT_TRUE(until([&] {
    return heardWith(iBeacon(2)) > 0 && monitorHeard("AA:BB:CC:DD:EE:12") &&
           !delegate->from("AA:BB:CC:DD:EE:12").empty();
  }));
  EXPECT_TRUE(delegate->from(kBeaconAddress).empty());

  // Stopping the scan leaves the monitor's discovery running and fed.
  const auto stops = bluez->adapterCalls("StopDiscovery");
  central->stopScan();
  settle();
  EXPECT_TRUE(bluez->discovering());
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), stops);
  bluez->advertise(beacon, 0x004c, iBeacon(3));
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(3)) > 0; }));

  // Without the monitor the scan's own filter comes back.
  central->scanForPeripherals({kService}, true);
  central->setMonitoringDemand(false);
  ASSERT_TRUE(until(
      [&] { return bluez->lastDiscoveryFilter().uuids == std::vector<std::string>{kService}; }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);
  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
}

TEST_F(BluezAdvertisementMonitorTest, DemandWhilePoweredOffStartsDiscoveryWhenTheAdapterPowersOn) {
  makeCentral();
  bluez->setPowered(false);
  ASSERT_TRUE(reachState(4));
  central->setMonitoringDemand(true);
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  bluez->setPowered(true);
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
}

}  // namespace
}  // namespace lumora::platform
