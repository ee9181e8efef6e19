#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include "platform/linux/BluezCentral.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/BluezCentralWorld.hpp"
#include "support/DbusMockHarness.hpp"

namespace lumora::platform {
namespace {

using test::DbusMockHarness;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kService = "0000feaa-0000-1000-8000-00805f9b34fb";
constexpr const char* kServiceUpper = "0000FEAA-0000-1000-8000-00805F9B34FB";
constexpr const char* kAdapter = "/org/bluez/hci0";

class RecordingDelegate : public BleCentralDelegate {
 public:
  void centralDidUpdateState(std::int64_t state) override { states.push_back(state); }
  void centralDidDiscover(const AdvertisementData& advertisement) override {
    advertisements.push_back(advertisement);
  }
  std::int64_t lastState() const { return states.empty() ? -1 : states.back(); }
  std::vector<AdvertisementData> from(const std::string& address) const {
    std::vector<AdvertisementData> result;
    for (const auto& ad : advertisements)
      if (ad.peripheralId == address) result.push_back(ad);
    return result;
  }

  std::vector<std::int64_t> states;
  std::vector<AdvertisementData> advertisements;
};

GVariant* manufacturerData(std::uint16_t companyId, const Bytes& value) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{qv}"));
  g_variant_builder_add(
      &builder, "{qv}", companyId,
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, value.data(), value.size(), 1));
  return g_variant_builder_end(&builder);
}

GVariant* stringArray(const std::vector<const char*>& items) {
  return g_variant_new_strv(items.data(), static_cast<gssize>(items.size()));
}

class BluezCentralTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
    bus = std::make_unique<DbusMockHarness>();
  }

  void startBluez() { bus->startTemplate("bluez5", "org.bluez"); }
  void addAdapter() {
    bus->call("org.bluez", "/", "org.bluez.Mock", "AddAdapter",
              g_variant_new("(ss)", "hci0", "host"));
  }
  std::string addDevice(const std::string& address) {
    auto reply = bus->call("org.bluez", "/", "org.bluez.Mock", "AddDevice",
                           g_variant_new("(sss)", "hci0", address.c_str(), "beacon"));
    const gchar* path = nullptr;
    g_variant_get(reply.get(), "(&s)", &path);
    return path;
  }
  void set(const std::string& path, const char* iface, const char* name, GVariant* value) {
    bus->call("org.bluez", path, "org.freedesktop.DBus.Properties", "Set",
              g_variant_new("(ssv)", iface, name, value));
  }
  void setDevice(const std::string& path, const char* name, GVariant* value) {
    set(path, "org.bluez.Device1", name, value);
  }
  void setPowered(bool powered) {
    set(kAdapter, "org.bluez.Adapter1", "Powered", g_variant_new_boolean(powered));
  }
  bool discovering() {
    auto reply = bus->call("org.bluez", kAdapter, "org.freedesktop.DBus.Properties", "Get",
                           g_variant_new("(ss)", "org.bluez.Adapter1", "Discovering"));
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    const bool result = g_variant_get_boolean(value);
    g_variant_unref(value);
    return result;
  }
  std::size_t adapterCalls(const std::string& method) {
    return bus->callCount("org.bluez", kAdapter, method);
  }

  void makeCentral(double restartSeconds = 60) {
    BluezCentral::Options options;
    options.busAddress = bus->address();
    options.discoveryRestartSeconds = restartSeconds;
    central = BluezCentral::create(queue, options);
    central->setDelegate(delegate);
  }
  bool reachState(std::int64_t state) {
    return DbusMockHarness::iterateUntil(
        [&] { return delegate->lastState() == state && central->state() == state; });
  }
  bool until(const std::function<bool()>& condition) {
    return DbusMockHarness::iterateUntil(condition);
  }

  std::unique_ptr<DbusMockHarness> bus;
  std::shared_ptr<GLibMainQueue> queue = std::make_shared<GLibMainQueue>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<BluezCentral> central;
};

TEST_F(BluezCentralTest, WithoutBluetoothdOrAdapterIsPoweredOffAndPowersOnWhenAnAdapterAppears) {
  makeCentral();
  ASSERT_TRUE(reachState(4));  // org.bluez has no owner
  startBluez();
  addAdapter();
  ASSERT_TRUE(reachState(5));
  EXPECT_EQ(delegate->states, (std::vector<std::int64_t>{4, 5}));
}

TEST_F(BluezCentralTest, AdapterOffThenPoweredOnLateStartsTheRequestedFilteredScan) {
  startBluez();
  addAdapter();
  setPowered(false);
  makeCentral();
  ASSERT_TRUE(reachState(4));
  central->scanForPeripherals({kService}, true);
  setPowered(true);
  ASSERT_TRUE(reachState(5));
  ASSERT_TRUE(until([&] { return adapterCalls("StartDiscovery") >= 1; }));

  auto filters = bus->callArguments("org.bluez", kAdapter, "SetDiscoveryFilter");
  ASSERT_FALSE(filters.empty());
  GVariant* filter = nullptr;
  g_variant_get_child(filters.back().get(), 0, "v", &filter);
  const gchar** uuids = nullptr;
  const gchar* transport = nullptr;
  gboolean duplicates = FALSE;
  ASSERT_TRUE(g_variant_lookup(filter, "UUIDs", "^a&s", &uuids));
  ASSERT_TRUE(g_variant_lookup(filter, "Transport", "&s", &transport));
  ASSERT_TRUE(g_variant_lookup(filter, "DuplicateData", "b", &duplicates));
  ASSERT_EQ(g_strv_length(const_cast<gchar**>(uuids)), 1u);
  EXPECT_STREQ(uuids[0], kServiceUpper);
  EXPECT_STREQ(transport, "le");
  EXPECT_TRUE(duplicates);
  g_free(uuids);
  g_variant_unref(filter);

  setPowered(false);
  ASSERT_TRUE(reachState(4));
}

TEST_F(BluezCentralTest, RefusedDiscoveryReportsUnauthorized) {
  startBluez();
  addAdapter();
  bus->call("org.bluez", kAdapter, "org.freedesktop.DBus.Mock", "AddMethod",
            g_variant_new("(sssss)", "org.bluez.Adapter1", "StartDiscovery", "", "",
                          "raise dbus.exceptions.DBusException('denied', "
                          "name='org.bluez.Error.NotAuthorized')"));
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, true);
  ASSERT_TRUE(reachState(3));
}

TEST_F(BluezCentralTest, AdvertisementsReachTheDelegateWithRebuiltBytesAndTheServiceFilterApplied) {
  startBluez();
  addAdapter();
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, true);
  ASSERT_TRUE(until([&] { return adapterCalls("StartDiscovery") >= 1; }));

  // A device that does not advertise the service never comes through.
  const auto foreign = addDevice("11:22:33:44:55:66");
  setDevice(foreign, "ManufacturerData", manufacturerData(0x1234, {1, 2, 3}));

  const auto beacon = addDevice("AA:BB:CC:DD:EE:01");
  setDevice(beacon, "UUIDs", stringArray({kService}));
  const Bytes custom{0x01, 0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0x00, 0x00, 0x2a};
  setDevice(beacon, "ManufacturerData", manufacturerData(0x1234, custom));

  ASSERT_TRUE(until([&] {
    auto ads = delegate->from("AA:BB:CC:DD:EE:01");
    return !ads.empty() && ads.back().manufacturerData.has_value();
  }));
  const auto last = delegate->from("AA:BB:CC:DD:EE:01").back();
  Bytes expected{0x34, 0x12};
  expected.insert(expected.end(), custom.begin(), custom.end());
  EXPECT_EQ(*last.manufacturerData, expected);
  EXPECT_EQ(last.serviceUuids, std::vector<std::string>{kServiceUpper});
  EXPECT_EQ(last.rssi, -79);
  EXPECT_TRUE(delegate->from("11:22:33:44:55:66").empty());
}

TEST_F(BluezCentralTest, IBeaconFramesComeThroughAnUnfilteredScan) {
  startBluez();
  addAdapter();
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({}, true);
  ASSERT_TRUE(until([&] { return adapterCalls("StartDiscovery") >= 1; }));
  Bytes frame{0x02, 0x15};
  for (std::uint8_t i = 0; i < 16; ++i) frame.push_back(static_cast<std::uint8_t>(0x10 + i));
  frame.insert(frame.end(), {0x00, 0x07, 0x00, 0x09, 0xc5});  // major 7, minor 9, power
  const auto device = addDevice("AA:BB:CC:DD:EE:02");
  setDevice(device, "ManufacturerData", manufacturerData(0x004c, frame));
  ASSERT_TRUE(until([&] {
    auto ads = delegate->from("AA:BB:CC:DD:EE:02");
    return !ads.empty() && ads.back().manufacturerData.has_value();
  }));
  Bytes expected{0x4c, 0x00};
  expected.insert(expected.end(), frame.begin(), frame.end());
  EXPECT_EQ(*delegate->from("AA:BB:CC:DD:EE:02").back().manufacturerData, expected);
}

TEST_F(BluezCentralTest, ScanStartReportsKnownDevicesAndWithoutDuplicatesEachPeripheralOnce) {
  startBluez();
  addAdapter();
  const auto known = addDevice("AA:BB:CC:DD:EE:03");
  setDevice(known, "UUIDs", stringArray({kService}));
  setDevice(known, "ManufacturerData", manufacturerData(0x1234, {9}));
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, false);
  ASSERT_TRUE(until([&] { return !delegate->from("AA:BB:CC:DD:EE:03").empty(); }));
  EXPECT_EQ(*delegate->from("AA:BB:CC:DD:EE:03").front().manufacturerData, (Bytes{0x34, 0x12, 9}));

  setDevice(known, "ManufacturerData", manufacturerData(0x1234, {10}));
  const auto other = addDevice("AA:BB:CC:DD:EE:04");
  setDevice(other, "UUIDs", stringArray({kService}));
  ASSERT_TRUE(until([&] { return !delegate->from("AA:BB:CC:DD:EE:04").empty(); }));
  EXPECT_EQ(delegate->from("AA:BB:CC:DD:EE:03").size(), 1u);
}

TEST_F(BluezCentralTest, ScanResumesByItselfWhenBluetoothdRestarts) {
  startBluez();
  addAdapter();
  makeCentral();
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, true);
  ASSERT_TRUE(until([&] { return adapterCalls("StartDiscovery") >= 1; }));

  bus->stopTemplate("org.bluez");
  ASSERT_TRUE(reachState(4));
  startBluez();  // a fresh bluetoothd, which knows no adapter yet
  addAdapter();
  ASSERT_TRUE(reachState(5));
  EXPECT_TRUE(until([&] { return adapterCalls("StartDiscovery") >= 1; }));
}

TEST_F(BluezCentralTest, DiscoveryIsRestartedPeriodicallyWhileScanningAndNotAfterStop) {
  startBluez();
  addAdapter();
  makeCentral(0.05);
  ASSERT_TRUE(reachState(5));
  central->scanForPeripherals({kService}, true);
  ASSERT_TRUE(until(
      [&] { return adapterCalls("StopDiscovery") >= 2 && adapterCalls("StartDiscovery") >= 3; }));
  central->stopScan();
  ASSERT_TRUE(until([&] { return !discovering(); }));
  const auto starts = adapterCalls("StartDiscovery");
  // Let several restart periods pass: no discovery is started again.
  bool waited = false;
  queue->scheduleTimer(0.3, false, [&](Timer&) { waited = true; });
  ASSERT_TRUE(until([&] { return waited; }));
  EXPECT_EQ(adapterCalls("StartDiscovery"), starts);
}

// The central against a test double that behaves like bluetoothd (MockBluez).
class BluezCentralSightingTest : public test::BluezCentralWorld {
 protected:
  void scan(const std::string& service, double restartSeconds = 60) {
    BluezCentral::Options options;
    options.discoveryRestartSeconds = restartSeconds;
    makeCentral(options, delegate);
    central->scanForPeripherals({service}, true);
    ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") >= 1; }));
  }
  std::string beaconAdvertising(const std::string& uuid) {
    const auto device = bluez->addDevice("AA:BB:CC:DD:EE:30");
    bluez->setServiceUuids(device, {uuid});
    return device;
  }
  std::size_t manufacturerDataSeen() const {
    return static_cast<std::size_t>(
        std::count_if(delegate->advertisements.begin(), delegate->advertisements.end(),
                      [](const AdvertisementData& ad) { return ad.manufacturerData.has_value(); }));
  }

  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(BluezCentralSightingTest, EveryManufacturerEntryReachesTheDelegateInEitherOrder) {
  scan(kService);
  const Bytes iBeacon = test::MockBluez::iBeaconFrame("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0", 1, 2);
  const Bytes custom{0x03, 0, 0, 7};
  const auto device = beaconAdvertising(kService);
  for (const auto& entries :
       {test::MockBluez::ManufacturerData{{0x004c, iBeacon}, {0x1234, custom}},
        test::MockBluez::ManufacturerData{{0x1234, custom}, {0x004c, iBeacon}}}) {
    delegate->advertisements.clear();
    bluez->advertise(device, entries);
    ASSERT_TRUE(until([&] { return manufacturerDataSeen() >= 2; }));
    std::set<Bytes> seen;  // a scan start may report the device a second time
    for (const auto& ad : delegate->advertisements) {
      if (ad.manufacturerData) seen.insert(*ad.manufacturerData);
    }
    Bytes expectedIBeacon{0x4c, 0x00};
    expectedIBeacon.insert(expectedIBeacon.end(), iBeacon.begin(), iBeacon.end());
    Bytes expectedCustom{0x34, 0x12};
    expectedCustom.insert(expectedCustom.end(), custom.begin(), custom.end());
    EXPECT_EQ(seen, (std::set<Bytes>{expectedIBeacon, expectedCustom}));
  }
}

TEST_F(BluezCentralSightingTest, ServiceUuidsAreComparedAsUuidsWhateverTheirCase) {
  struct Case {
    const char* scanned;
    const char* advertised;
    bool reported;
  };
  scan(kService);
  int round = 0;
  for (const Case& c : {Case{kService, kServiceUpper, true}, Case{kServiceUpper, kService, true},
                        Case{kServiceUpper, "0000feab-0000-1000-8000-00805f9b34fb", false}}) {
    SCOPED_TRACE(std::string(c.scanned) + " / " + c.advertised);
    const std::string address = "AA:BB:CC:DD:EE:4" + std::to_string(round);
    const std::string marker = "AA:BB:CC:DD:EE:5" + std::to_string(round++);
    central->scanForPeripherals({c.scanned}, true);
    ASSERT_TRUE(until([&] { return bluez->lastDiscoveryFilter().uuids.size() == 1; }));
    EXPECT_EQ(bluez->lastDiscoveryFilter().uuids, std::vector<std::string>{kServiceUpper});
    const auto device = bluez->addDevice(address);
    bluez->setServiceUuids(device, {c.advertised});
    bluez->advertise(device, 0x1234, {0x03});
    // A device that always passes tells when the first one's turn is over.
    const auto always = bluez->addDevice(marker);
    bluez->setServiceUuids(always, {kService});
    bluez->advertise(always, 0x1234, {0x04});
    ASSERT_TRUE(until([&] { return !delegate->from(marker).empty(); }));
    EXPECT_EQ(!delegate->from(address).empty(), c.reported);
  }
}

TEST_F(BluezCentralSightingTest, CachedDevicesAreNotFreshSightingsAtADiscoveryRestart) {
  scan(kService, 0.05);
  const auto device = beaconAdvertising(kService);
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
}

}  // namespace
}  // namespace lumora::platform
