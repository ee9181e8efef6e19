#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "platform/linux/BluezCentral.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/MockBluezWorld.hpp"

namespace lumora::platform {
namespace {

using test::idle;
using test::MockBluez;
using test::until;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kService = "0000feaa-0000-1000-8000-00805f9b34fb";
constexpr const char* kServiceUpper = "0000FEAA-0000-1000-8000-00805F9B34FB";
constexpr const char* kBeaconAddress = "AA:BB:CC:DD:EE:20";
constexpr double kSettleSeconds = 0.3;  // several discovery-restart periods of 0.05 s

Bytes iBeacon(std::uint16_t minor) {
  return MockBluez::iBeaconFrame("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0", 1, minor);
}

/// The manufacturer data as reported: the company identifier little-endian, then the value.
Bytes withCompanyId(std::uint16_t companyId, Bytes value) {
  value.insert(value.begin(), {static_cast<std::uint8_t>(companyId & 0xff),
                               static_cast<std::uint8_t>(companyId >> 8)});
  return value;
}

/// Records what the central tells its delegate.
struct RecordingDelegate : BleCentralDelegate {
  void centralDidUpdateState(std::int64_t state) override { states.push_back(state); }
  void centralDidDiscover(const AdvertisementData& advertisement) override {
    advertisements.push_back(advertisement);
  }
  std::vector<AdvertisementData> from(const std::string& address) const {
    std::vector<AdvertisementData> result;
    std::copy_if(advertisements.begin(), advertisements.end(), std::back_inserter(result),
                 [&](const AdvertisementData& ad) { return ad.peripheralId == address; });
    return result;
  }

  std::vector<std::int64_t> states;
  std::vector<AdvertisementData> advertisements;
};

// The scan (scanForPeripherals) reports to the delegate; the monitoring consumer
// (setMonitoringDemand) is fed by BlueZ's advertisement monitor where bluetoothd
// offers it, else by an unfiltered discovery shared with the scan.
class BluezCentralTest : public test::MockBluezWorld {
 protected:
  /// The central on the mock bus, its advertisement monitor recording into `heard`.
  void createCentral(double restartSeconds = 60, double refreshSeconds = 60) {
    BluezCentral::Options options;
    options.busAddress = bus->address();
    options.discoveryRestartSeconds = restartSeconds;
    options.monitorRefreshSeconds = refreshSeconds;
    central = BluezCentral::create(queue, options);
    central->setDelegate(delegate);
    central->setAdvertisementMonitor(
        [this](const AdvertisementData& advertisement) { heard.push_back(advertisement); });
  }
  void makeCentral(double restartSeconds = 60, double refreshSeconds = 60) {
    createCentral(restartSeconds, refreshSeconds);
    ASSERT_TRUE(reachState(5));
  }
  /// Waits until the central and its delegate both report this state.
  bool reachState(std::int64_t state) {
    return until([&] {
      return !delegate->states.empty() && delegate->states.back() == state &&
             central->state() == state;
    });
  }
  void scan(const std::vector<std::string>& services, double restartSeconds = 60) {
    makeCentral(restartSeconds);
    central->scanForPeripherals(services, true);
    ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= 1; }));
  }
  std::string deviceWithService(const std::string& address, const std::string& uuid) {
    const auto device = bluez->addDevice(address);
    bluez->setServiceUuids(device, {uuid});
    return device;
  }
  std::size_t manufacturerDataSeen() const {
    return static_cast<std::size_t>(
        std::count_if(delegate->advertisements.begin(), delegate->advertisements.end(),
                      [](const AdvertisementData& ad) { return ad.manufacturerData.has_value(); }));
  }
  /// How often the monitor heard this iBeacon frame from `address`.
  std::size_t heardWith(const Bytes& frame, const std::string& address = kBeaconAddress) const {
    return static_cast<std::size_t>(std::count_if(heard.begin(), heard.end(), [&](const auto& ad) {
      return ad.peripheralId == address && ad.manufacturerData == withCompanyId(0x004c, frame);
    }));
  }

  std::shared_ptr<GLibMainQueue> queue = std::make_shared<GLibMainQueue>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<BluezCentral> central;
  std::vector<AdvertisementData> heard;
};

TEST_F(BluezCentralTest, FollowsBluetoothdAndItsAdapterResumesTheRequestedScanAndReportsRefusal) {
  bus->stopTemplate("org.bluez");
  createCentral();
  ASSERT_TRUE(reachState(4));  // org.bluez has no owner
  central->scanForPeripherals({kService}, true);
  bus->startTemplate("bluez5", "org.bluez");
  bluez->addAdapter();
  ASSERT_TRUE(reachState(5));
  EXPECT_EQ(delegate->states, (std::vector<std::int64_t>{4, 5}));
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= 1; }));
  const auto filter = bluez->lastDiscoveryFilter();
  EXPECT_EQ(filter.uuids, std::vector<std::string>{kServiceUpper});
  EXPECT_EQ(filter.transport, "le");
  EXPECT_TRUE(filter.duplicateData);

  bluez->setPowered(false);
  ASSERT_TRUE(reachState(4));
  const auto starts = bluez->adapterCalls("StartDiscovery");
  bluez->setPowered(true);
  ASSERT_TRUE(reachState(5));
  EXPECT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") > starts; }));

  // A refused discovery means this user may not scan.
  bluez->refuse("StartDiscovery", "org.bluez.Error.NotAuthorized");
  bluez->setPowered(false);
  bluez->setPowered(true);
  EXPECT_TRUE(reachState(3));
}

// Every manufacturer entry reaches the delegate with its company identifier.
TEST_F(BluezCentralTest, EntriesReachTheDelegateWhenTheServiceMatchesAsAUuidWhateverItsCase) {
  scan({kService});
  const Bytes custom{0x03, 0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0x00, 0x00, 0x2a};
  bluez->advertise(deviceWithService("AA:BB:CC:DD:EE:30", kServiceUpper),
                   {{0x1234, custom}, {0x004c, iBeacon(2)}}, -67);
  ASSERT_TRUE(until([&] { return manufacturerDataSeen() >= 2; }));
  std::set<Bytes> seen;  // a scan start may report the device a second time
  for (const auto& ad : delegate->advertisements) {
    if (!ad.manufacturerData) continue;
    seen.insert(*ad.manufacturerData);
    EXPECT_EQ(ad.rssi, -67);
    EXPECT_EQ(ad.serviceUuids, std::vector<std::string>{kServiceUpper});
  }
  EXPECT_EQ(seen,
            (std::set<Bytes>{withCompanyId(0x004c, iBeacon(2)), withCompanyId(0x1234, custom)}));

  // No service scanned means all.
  struct Case {
    std::vector<std::string> scanned;
    std::vector<std::string> advertised;
    bool reported;
  };
  int round = 0;
  for (const Case& c : {Case{{kServiceUpper}, {kService}, true},
                        Case{{kServiceUpper}, {"0000feab-0000-1000-8000-00805f9b34fb"}, false},
                        Case{{}, {}, true}}) {
    SCOPED_TRACE(round);
    const std::string address = "AA:BB:CC:DD:EE:4" + std::to_string(round);
    const std::string marker = "AA:BB:CC:DD:EE:5" + std::to_string(round++);
    central->scanForPeripherals(c.scanned, true);
    const std::vector<std::string> filter =
        c.scanned.empty() ? std::vector<std::string>{} : std::vector<std::string>{kServiceUpper};
    ASSERT_TRUE(until([&] { return bluez->lastDiscoveryFilter().uuids == filter; }));
    const auto device = bluez->addDevice(address);
    if (!c.advertised.empty()) bluez->setServiceUuids(device, c.advertised);
    bluez->advertise(device, {{0x1234, {0x03}}});
    // A device that always passes tells when the first one's turn is over.
    bluez->advertise(deviceWithService(marker, kService), {{0x1234, {0x04}}});
    ASSERT_TRUE(until([&] { return !delegate->from(marker).empty(); }));
    EXPECT_EQ(!delegate->from(address).empty(), c.reported);
  }
}

TEST_F(BluezCentralTest, ScanStartReportsKnownDevicesAndWithoutDuplicatesEachPeripheralOnce) {
  const auto known = deviceWithService("AA:BB:CC:DD:EE:03", kService);
  bluez->advertise(known, {{0x1234, {9}}});
  makeCentral();
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return !delegate->from("AA:BB:CC:DD:EE:03").empty(); }));
  EXPECT_EQ(*delegate->from("AA:BB:CC:DD:EE:03").front().manufacturerData, (Bytes{0x34, 0x12, 9}));

  bluez->advertise(known, {{0x1234, {10}}});
  deviceWithService("AA:BB:CC:DD:EE:04", kService);
  ASSERT_TRUE(until([&] { return !delegate->from("AA:BB:CC:DD:EE:04").empty(); }));
  EXPECT_EQ(delegate->from("AA:BB:CC:DD:EE:03").size(), 1u);
}

// Discovery restarts while scanning, yet a device cached by bluetoothd is not a
// fresh sighting at a restart; after stopScan nothing restarts.
TEST_F(BluezCentralTest, DiscoveryRestartsPeriodicallyWithoutReportingSilentDevicesAgain) {
  scan({kService}, 0.05);
  ASSERT_TRUE(until([&] {
    return bluez->adapterCalls("StopDiscovery") >= 2 && bluez->adapterCalls("StartDiscovery") >= 3;
  }));
  const auto device = deviceWithService("AA:BB:CC:DD:EE:30", kService);
  bluez->advertise(device, {{0x1234, {0x03}}});
  ASSERT_TRUE(until([&] { return manufacturerDataSeen() >= 1; }));
  idle(kSettleSeconds);  // a scan start racing the advertisement may report it once more
  const auto sightings = manufacturerDataSeen();
  const auto starts = bluez->adapterCalls("StartDiscovery");
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= starts + 3; }));
  idle(kSettleSeconds);
  EXPECT_EQ(manufacturerDataSeen(), sightings);  // silent since: never reported again
  bluez->advertise(device, {{0x1234, {0x03}}});
  EXPECT_TRUE(until([&] { return manufacturerDataSeen() > sightings; }));

  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  const auto stopped = bluez->adapterCalls("StartDiscovery");
  idle(kSettleSeconds);
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), stopped);
}

// The monitor serves the demand alone, survives a new bluetoothd, leaves the
// scan its own filter, and ends with the demand or with the central.
TEST_F(BluezCentralTest, DemandRegistersAnIBeaconMonitorFedWhileItsDeviceIsFound) {
  bluez->addMonitorManager();
  makeCentral(0.05, 0.05);
  central->setMonitoringDemand(true);
  ASSERT_TRUE(until([&] { return bluez->registeredRoots().size() == 1; }));
  const auto root = bluez->registeredRoots().front();
  const auto monitors = bluez->monitorsAt(root);
  ASSERT_EQ(monitors.size(), 1u);
  EXPECT_EQ(monitors[0].type, "or_patterns");
  EXPECT_EQ(monitors[0].patterns, "[(byte 0x00, byte 0xff, [byte 0x4c, 0x00, 0x02, 0x15])]");

  // No discovery, hence no restarts, for the monitor alone; a device bluetoothd
  // has not reported found does not reach the monitor.
  const auto beacon = bluez->addDevice(kBeaconAddress);
  bluez->advertise(beacon, {{0x004c, iBeacon(2)}}, -67);
  idle(kSettleSeconds);
  EXPECT_TRUE(heard.empty());

  // Once found, the unchanged advertisement keeps being heard, and so do new ones.
  bluez->callMonitor(monitors[0].path, "DeviceFound", beacon);
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(2)) >= 4; }));
  EXPECT_EQ(heard.back().rssi, -67);
  bluez->advertise(beacon, {{0x004c, iBeacon(3)}});
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(3)) > 0; }));

  // Once lost, nothing more: neither repeats nor new advertisements.
  bluez->callMonitor(monitors[0].path, "DeviceLost", beacon);
  bluez->advertise(beacon, {{0x004c, iBeacon(4)}});
  idle(kSettleSeconds);
  heard.clear();
  idle(kSettleSeconds);
  EXPECT_TRUE(heard.empty());

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return bluez->unregisteredRoots().size() == 1; }));
  EXPECT_EQ(bluez->unregisteredRoots().front(), root);
  EXPECT_THROW(bluez->monitorsAt(root), std::runtime_error);  // the objects are gone too
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), 0u);

  // A fresh bluetoothd announces its adapter first and the manager after it:
  // discovery serves the monitor in between and stops once the monitor is back.
  central->setMonitoringDemand(true);
  ASSERT_TRUE(until([&] { return bluez->registeredRoots().size() == 2; }));
  bus->stopTemplate("org.bluez");
  bus->startTemplate("bluez5", "org.bluez");
  ASSERT_TRUE(reachState(4));
  bluez->addAdapter();
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  bluez->addMonitorManager();
  ASSERT_TRUE(until([&] { return bluez->registeredRoots().size() == 1 && !bluez->discovering(); }));
  const auto renewed = bluez->registeredRoots().front();
  EXPECT_EQ(bluez->monitorsAt(renewed).size(), 1u);

  // Beside the monitor the scan runs with its own filter, and without duplicates no restarts.
  const auto stops = bluez->adapterCalls("StopDiscovery");
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));
  EXPECT_EQ(bluez->lastDiscoveryFilter().uuids, std::vector<std::string>{kServiceUpper});
  EXPECT_FALSE(bluez->lastDiscoveryFilter().duplicateData);
  idle(kSettleSeconds);
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), stops);
  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  EXPECT_TRUE(bluez->unregisteredRoots().empty());  // the monitor stays registered

  central.reset();
  ASSERT_TRUE(until([&] { return bluez->unregisteredRoots().size() == 1; }));
  EXPECT_EQ(bluez->unregisteredRoots().front(), renewed);
}

// Without a monitor (no API, or registration refused), an unfiltered
// discovery, restarted so that unchanged advertisements are heard again,
// feeds the monitor and only it, until the demand ends.
class BluezMonitorFallbackTest : public BluezCentralTest,
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

  bluez->advertise(bluez->addDevice(kBeaconAddress), {{0x004c, iBeacon(2)}});
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(2)) > 0; }));
  EXPECT_TRUE(delegate->advertisements.empty());  // no scan was requested

  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  const auto starts = bluez->adapterCalls("StartDiscovery");
  idle(kSettleSeconds);
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), starts);
}

INSTANTIATE_TEST_SUITE_P(NoApiOrRefused, BluezMonitorFallbackTest, ::testing::Bool());

TEST_F(BluezCentralTest, WithBothConsumersTheFilterIsTheUnionAndTheScanSeesItsOwn) {
  makeCentral();
  // A demand made while powered off waits for the adapter.
  bluez->setPowered(false);
  ASSERT_TRUE(reachState(4));
  central->setMonitoringDemand(true);
  idle(kSettleSeconds);
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), 0u);
  bluez->setPowered(true);
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));

  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("SetDiscoveryFilter") >= 2; }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().uuids.empty());
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);
  const auto beacon = bluez->addDevice(kBeaconAddress);
  bluez->advertise(beacon, {{0x004c, iBeacon(2)}});
  bluez->advertise(deviceWithService("AA:BB:CC:DD:EE:12", kService), {{0x1234, {0x03, 1, 2}}});
  ASSERT_TRUE(until([&] {
    return heardWith(iBeacon(2)) > 0 && !delegate->from("AA:BB:CC:DD:EE:12").empty() &&
           std::any_of(heard.begin(), heard.end(),
                       [](const auto& ad) { return ad.peripheralId == "AA:BB:CC:DD:EE:12"; });
  }));
  EXPECT_TRUE(delegate->from(kBeaconAddress).empty());

  // Stopping the scan leaves the monitor's discovery running and fed.
  const auto stops = bluez->adapterCalls("StopDiscovery");
  central->stopScan();
  idle(kSettleSeconds);
  EXPECT_TRUE(bluez->discovering());
  EXPECT_EQ(bluez->adapterCalls("StopDiscovery"), stops);
  bluez->advertise(beacon, {{0x004c, iBeacon(3)}});
  ASSERT_TRUE(until([&] { return heardWith(iBeacon(3)) > 0; }));

  // Without the monitor the scan's own filter comes back.
  central->scanForPeripherals({kService}, true);
  central->setMonitoringDemand(false);
  ASSERT_TRUE(until([&] {
    return bluez->lastDiscoveryFilter().uuids == std::vector<std::string>{kServiceUpper};
  }));
  EXPECT_TRUE(bluez->lastDiscoveryFilter().duplicateData);
  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
}

}  // namespace
}  // namespace lumora::platform
