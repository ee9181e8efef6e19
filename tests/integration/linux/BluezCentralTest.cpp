#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "support/BluezCentralWorld.hpp"

namespace lumora::platform {
namespace {

using test::MockBluez;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kService = "0000feaa-0000-1000-8000-00805f9b34fb";
constexpr const char* kServiceUpper = "0000FEAA-0000-1000-8000-00805F9B34FB";

Bytes withCompanyId(std::uint16_t companyId, const Bytes& value) {
  Bytes bytes(value.size() + 2);  // the identifier little-endian, then the value
  bytes[0] = static_cast<std::uint8_t>(companyId & 0xff);
  bytes[1] = static_cast<std::uint8_t>(companyId >> 8);
  std::copy(value.begin(), value.end(), bytes.begin() + 2);
  return bytes;
}

class BluezCentralTest : public test::BluezCentralWorld {
 protected:
  void scan(const std::vector<std::string>& services, double restartSeconds = 60) {
    BluezCentral::Options options;
    options.discoveryRestartSeconds = restartSeconds;
    makeCentral(options);
    ASSERT_TRUE(reachState(5));
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
};

TEST_F(BluezCentralTest, FollowsBluetoothdAndItsAdapterAndResumesTheRequestedScanByItself) {
  bus->stopTemplate("org.bluez");
  makeCentral();
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
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") > starts; }));

  bluez->restart();
  ASSERT_TRUE(reachState(4));
  bluez->addAdapter();
  ASSERT_TRUE(reachState(5));
  EXPECT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= 1; }));
}

TEST_F(BluezCentralTest, RefusedDiscoveryReportsUnauthorized) {
  bluez->refuse("StartDiscovery", "org.bluez.Error.NotAuthorized");
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, true);
  ASSERT_TRUE(reachState(3));
}

TEST_F(BluezCentralTest, EveryManufacturerEntryReachesTheDelegateWithItsCompanyIdInEitherOrder) {
  scan({kService});
  // A device that does not advertise the service never comes through.
  bluez->advertise(bluez->addDevice("11:22:33:44:55:66"), 0x1234, {1, 2, 3});
  const Bytes iBeacon = MockBluez::iBeaconFrame("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0", 1, 2);
  const Bytes custom{0x03, 0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0x00, 0x00, 0x2a};
  const auto device = deviceWithService("AA:BB:CC:DD:EE:30", kServiceUpper);
  for (const auto& entries : {MockBluez::ManufacturerData{{0x004c, iBeacon}, {0x1234, custom}},
                              MockBluez::ManufacturerData{{0x1234, custom}, {0x004c, iBeacon}}}) {
    delegate->advertisements.clear();
    bluez->advertise(device, entries, -67);
    ASSERT_TRUE(until([&] { return manufacturerDataSeen() >= 2; }));
    std::set<Bytes> seen;  // a scan start may report the device a second time
    for (const auto& ad : delegate->advertisements) {
      if (!ad.manufacturerData) continue;
      seen.insert(*ad.manufacturerData);
      EXPECT_EQ(ad.rssi, -67);
      EXPECT_EQ(ad.serviceUuids, std::vector<std::string>{kServiceUpper});
    }
    EXPECT_EQ(seen,
              (std::set<Bytes>{withCompanyId(0x004c, iBeacon), withCompanyId(0x1234, custom)}));
  }
  EXPECT_TRUE(delegate->from("11:22:33:44:55:66").empty());
}

TEST_F(BluezCentralTest, ServiceUuidsAreComparedAsUuidsWhateverTheirCaseAndNoneMeansAll) {
  struct Case {
    std::vector<std::string> scanned;
    std::vector<std::string> advertised;
    bool reported;
  };
  scan({kService});
  int round = 0;
  for (const Case& c :
       {Case{{kService}, {kServiceUpper}, true}, Case{{kServiceUpper}, {kService}, true},
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
    bluez->advertise(device, 0x1234, {0x03});
    // A device that always passes tells when the first one's turn is over.
    bluez->advertise(deviceWithService(marker, kService), 0x1234, {0x04});
    ASSERT_TRUE(until([&] { return !delegate->from(marker).empty(); }));
    EXPECT_EQ(!delegate->from(address).empty(), c.reported);
  }
}

TEST_F(BluezCentralTest, ScanStartReportsKnownDevicesAndWithoutDuplicatesEachPeripheralOnce) {
  const auto known = deviceWithService("AA:BB:CC:DD:EE:03", kService);
  bluez->advertise(known, 0x1234, {9});
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return !delegate->from("AA:BB:CC:DD:EE:03").empty(); }));
  EXPECT_EQ(*delegate->from("AA:BB:CC:DD:EE:03").front().manufacturerData, (Bytes{0x34, 0x12, 9}));

  bluez->advertise(known, 0x1234, {10});
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
  bluez->advertise(device, 0x1234, {0x03});
  ASSERT_TRUE(until([&] { return manufacturerDataSeen() >= 1; }));
  settle();  // a scan start racing the advertisement may report it once more
  const auto sightings = manufacturerDataSeen();
  const auto starts = bluez->adapterCalls("StartDiscovery");
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= starts + 3; }));
  settle();
  EXPECT_EQ(manufacturerDataSeen(), sightings);  // silent since: never reported again
  bluez->advertise(device, 0x1234, {0x03});
  EXPECT_TRUE(until([&] { return manufacturerDataSeen() > sightings; }));

  central->stopScan();
  ASSERT_TRUE(until([&] { return !bluez->discovering(); }));
  const auto stopped = bluez->adapterCalls("StartDiscovery");
  settle();
  EXPECT_EQ(bluez->adapterCalls("StartDiscovery"), stopped);
}

}  // namespace
}  // namespace lumora::platform
