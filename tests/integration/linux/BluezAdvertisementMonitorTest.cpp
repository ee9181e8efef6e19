#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/BluezCentralWorld.hpp"

namespace lumora::platform {
namespace {

using test::MockBluez;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kService = "0000FEAA-0000-1000-8000-00805F9B34FB";
constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
constexpr const char* kBeaconAddress = "AA:BB:CC:DD:EE:20";

class NullDelegate : public BleCentralDelegate {
 public:
  void centralDidUpdateState(std::int64_t) override {}
  void centralDidDiscover(const AdvertisementData&) override {}
};

Bytes withAppleCompanyId(const Bytes& frame) {
  Bytes bytes(frame.size() + 2);
  bytes[0] = 0x4c;  // Apple's company identifier, little-endian
  std::copy(frame.begin(), frame.end(), bytes.begin() + 2);
  return bytes;
}

// The monitoring consumer served by BlueZ's advertisement monitor API.
class BluezAdvertisementMonitorTest : public test::BluezCentralWorld {
 protected:
  void makeCentral(double refreshSeconds = 60) {
    BluezCentral::Options options;
    options.discoveryRestartSeconds = 0.05;
    options.monitorRefreshSeconds = refreshSeconds;
    BluezCentralWorld::makeCentral(options, delegate);
  }

  /// Demands monitoring and answers the application root it registered.
  std::string demandAndRegister() {
    central->setMonitoringDemand(true);
    EXPECT_TRUE(until([&] { return bluez->registeredRoots().size() == 1; }));
    const auto roots = bluez->registeredRoots();
    return roots.empty() ? "" : roots.front();
  }

  std::size_t heardWith(const Bytes& manufacturerData) const {
    return static_cast<std::size_t>(std::count_if(heard.begin(), heard.end(), [&](const auto& ad) {
      return ad.peripheralId == kBeaconAddress && ad.manufacturerData == manufacturerData;
    }));
  }

  std::shared_ptr<NullDelegate> delegate = std::make_shared<NullDelegate>();
};

TEST_F(BluezAdvertisementMonitorTest, DemandRegistersAnIBeaconMonitorThatFeedsFoundDevicesOnly) {
  bluez->addMonitorManager();
  makeCentral();
  const auto root = demandAndRegister();
  const auto monitors = bluez->monitorsAt(root);
  ASSERT_EQ(monitors.size(), 1u);
  EXPECT_EQ(monitors[0].type, "or_patterns");
  EXPECT_EQ(monitors[0].patterns,
            (std::vector<MockBluez::Pattern>{{0, 0xff, {0x4c, 0x00, 0x02, 0x15}}}));

  // No discovery, hence no restarts, for the monitor alone; a device bluetoothd
  // has not reported found does not reach the monitor.
  const auto beacon = bluez->addDevice(kBeaconAddress);
  const auto first = MockBluez::iBeaconFrame(kIBeaconUuid, 1, 2);
  bluez->advertise(beacon, {{0x004c, first}}, -67);
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), 0u);
  EXPECT_TRUE(heard.empty());

  bluez->monitorDeviceFound(monitors[0].path, beacon);
  ASSERT_TRUE(until([&] { return heardWith(withAppleCompanyId(first)) > 0; }));
  EXPECT_EQ(heard.back().rssi, -67);
  const auto second = MockBluez::iBeaconFrame(kIBeaconUuid, 1, 3);
  bluez->advertise(beacon, 0x004c, second);
  ASSERT_TRUE(until([&] { return heardWith(withAppleCompanyId(second)) > 0; }));

  bluez->monitorDeviceLost(monitors[0].path, beacon);
  bluez->advertise(beacon, 0x004c, MockBluez::iBeaconFrame(kIBeaconUuid, 1, 4));
  settle();
  EXPECT_EQ(heardWith(withAppleCompanyId(MockBluez::iBeaconFrame(kIBeaconUuid, 1, 4))), 0u);

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return bluez->unregisteredRoots().size() == 1; }));
  EXPECT_EQ(bluez->unregisteredRoots().front(), root);
  EXPECT_THROW(bluez->monitorsAt(root), std::runtime_error);  // the objects are gone too
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
}

TEST_F(BluezAdvertisementMonitorTest, AFoundDeviceIsReportedAgainUntilItIsLost) {
  bluez->addMonitorManager();
  makeCentral(0.05);
  const auto root = demandAndRegister();
  const auto beacon = bluez->addDevice(kBeaconAddress);
  const auto frame = withAppleCompanyId(MockBluez::iBeaconFrame(kIBeaconUuid, 7, 9));
  bluez->advertise(beacon, 0x004c, MockBluez::iBeaconFrame(kIBeaconUuid, 7, 9));
  const auto monitor = bluez->monitorsAt(root).at(0).path;
  bluez->monitorDeviceFound(monitor, beacon);
  // The advertisement does not change, yet the monitor keeps hearing it.
  ASSERT_TRUE(until([&] { return heardWith(frame) >= 4; }));

  bluez->monitorDeviceLost(monitor, beacon);
  settle();
  heard.clear();
  settle();
  EXPECT_TRUE(heard.empty());
}

TEST_F(BluezAdvertisementMonitorTest, RefusedRegistrationFallsBackToARestartedUnfilteredDiscovery) {
  bluez->addMonitorManager("org.bluez.Error.Failed");
  makeCentral();
  central->setMonitoringDemand(true);
  ASSERT_TRUE(until([&] {
    return bluez->adapterCalls("StopDiscovery") >= 1 && bluez->adapterCalls("StartDiscovery") >= 2;
  }));
  EXPECT_EQ(bluez->registeredRoots().size(), 1u);
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);

  const auto beacon = bluez->addDevice(kBeaconAddress);
  const auto frame = MockBluez::iBeaconFrame(kIBeaconUuid, 1, 2);
  bluez->advertise(beacon, 0x004c, frame);
  ASSERT_TRUE(until([&] { return heardWith(withAppleCompanyId(frame)) > 0; }));
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
  bus->stopTemplate("org.bluez");
  bus->startTemplate("bluez5", "org.bluez");
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

}  // namespace
}  // namespace lumora::platform
