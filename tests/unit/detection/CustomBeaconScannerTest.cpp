#include <gtest/gtest.h>

#include "DetectionWorld.hpp"
#include "core/util/Uuid.hpp"

namespace lumora::testing {
namespace {

using platform::SimBleCentral;

class Bluetooth : public DetectionWorld {
 protected:
  void setRadio(std::int64_t state) {
    central->simulateStateChange(state);
    platform->virtualQueue->runReady();
  }
  std::vector<ScanOutcome> outcomes;
};

// The outcome of the two-second wait for each state the radio can be left in.
TEST_F(Bluetooth, TheWaitReportsTheStateLeftAfterTwoSeconds) {
  const struct {
    std::int64_t state;
    LumoraAdBeaconErrorType code;
    std::string message;
  } cases[] = {
      {SimBleCentral::kResetting, LumoraAdBeaconErrorType::bluetoothDisabled,
       "Bluetooth state is still undetermined after waiting"},
      {SimBleCentral::kUnsupported, LumoraAdBeaconErrorType::bluetoothDisabled,
       "Bluetooth not supported on this device"},
      {SimBleCentral::kUnauthorized, LumoraAdBeaconErrorType::bluetoothPermissionDenied,
       "Bluetooth permission denied. Please allow Bluetooth access in settings."},
      {SimBleCentral::kPoweredOff, LumoraAdBeaconErrorType::bluetoothDisabled,
       "Bluetooth is disabled. Please turn on Bluetooth."},
      {7, LumoraAdBeaconErrorType::bluetoothDisabled, "Unknown Bluetooth state: 7"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.state);
    outcomes.clear();
    setRadio(c.state);
    customScanner->startScanning(recordInto(outcomes));
    runFor(1.9);
    EXPECT_TRUE(outcomes.empty());
    runFor(0.1);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_FALSE(outcomes[0].success);
    EXPECT_EQ(outcomes[0].code, c.code);
    EXPECT_EQ(outcomes[0].message, c.message);
    EXPECT_FALSE(customScanner->isScanning());
  }
  EXPECT_EQ(scanStarts(), 0u);
}

// Powered on during the wait, the scan succeeds once and is requested again;
// switched off and on while scanning, it is requested once more.
TEST_F(Bluetooth, PowerOnDuringTheWaitOrWhileScanningRequestsTheScanAgain) {
  setRadio(SimBleCentral::kPoweredOff);
  customScanner->startScanning(recordInto(outcomes));
  runFor(1.0);
  setRadio(SimBleCentral::kPoweredOn);
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_TRUE(outcomes[0].success);
  ASSERT_EQ(central->scanRecords().size(), 2u);
  EXPECT_EQ(central->scanRecords()[0], central->scanRecords()[1]);
  runFor(5.0);
  setRadio(SimBleCentral::kPoweredOff);
  EXPECT_TRUE(customScanner->isScanning());
  EXPECT_FALSE(central->isScanning());
  setRadio(SimBleCentral::kPoweredOn);
  EXPECT_TRUE(central->isScanning());
  EXPECT_EQ(outcomes.size(), 1u);
  ASSERT_EQ(scanStarts(), 3u);
  EXPECT_EQ(central->scanRecords()[2], central->scanRecords()[0]);
}

// Two overlapping waits, a at 0 s and b at 1 s, with the radio powered on at
// `poweredOnAt`: only the newest wait ends early, and a timer that fires
// removes the state callback of whichever wait is newest.
TEST_F(Bluetooth, OverlappingWaitsEndInTheirOwnOrder) {
  using Ends = std::vector<std::pair<std::string, double>>;
  Ends ends;
  for (const auto& [poweredOnAt, expected] :
       {std::pair{1.5, Ends{{"b:on", 1.5}, {"a:on", 2.0}}},
        std::pair{2.5, Ends{{"a:off", 2.0}, {"b:on", 3.0}}}}) {
    ends.clear();
    const double start = secondsSinceStart();
    setRadio(SimBleCentral::kPoweredOff);
    centralAdapter->waitForPoweredOn(2.0, [&](bool on) {
      ends.emplace_back(on ? "a:on" : "a:off", secondsSinceStart() - start);
    });
    runFor(1.0);
    centralAdapter->waitForPoweredOn(2.0, [&](bool on) {
      ends.emplace_back(on ? "b:on" : "b:off", secondsSinceStart() - start);
    });
    runFor(poweredOnAt - 1.0);
    setRadio(SimBleCentral::kPoweredOn);
    runFor(2.0);
    EXPECT_EQ(ends, expected) << poweredOnAt;
  }
}

TEST_F(Bluetooth, OnlyAdvertisementsCarryingACustomBeaconAreReported) {
  int detected = 0;
  customScanner->setOnBeaconDetected([&](const BeaconIdentity&) { ++detected; });
  auto withoutData = customBeacon();
  withoutData.manufacturerData.reset();
  auto foreign = iBeacon();
  foreign.serviceUuids = {kCanonicalServiceUuid};
  for (const auto& ad : {customBeacon(), withoutData, foreign, customBeacon()}) {
    centralAdapter->centralDidDiscover(ad);
  }
  EXPECT_EQ(detected, 2);
}

// With the radio already on, the scan starts before startScanning returns. A
// short service UUID is the same UUID as its 128-bit form (the other tests
// configure the long one): the scan asks for the 128-bit form and finds beacons
// that advertise it.
class ShortServiceUuid : public DetectionWorld {
 protected:
  ShortServiceUuid() : DetectionWorld({kRegionUuid, kRegionIdentifier, "fd6f"}) {}
};

TEST_F(ShortServiceUuid, IsScannedInItsFullFormAndFindsTheBeacons) {
  int detected = 0;
  customScanner->setOnBeaconDetected([&](const BeaconIdentity&) { ++detected; });
  std::vector<ScanOutcome> outcomes;
  customScanner->startScanning(recordInto(outcomes));
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_TRUE(outcomes[0].success && !outcomes[0].code);
  EXPECT_TRUE(customScanner->isScanning());
  EXPECT_EQ(central->scanRecords(),
            (std::vector<SimBleCentral::ScanRecord>{
                {SimBleCentral::ScanRecord::Action::start, {kCanonicalServiceUuid}, true}}));
  radio->transmit(customBeacon());
  runFor(0);
  EXPECT_EQ(detected, 1);
}

TEST(BluetoothUuid, OnlyFourEightOrThirtySixCharacterFormsParse) {
  EXPECT_EQ(Uuid::parseBluetooth("1234abCD")->text(), "1234ABCD-0000-1000-8000-00805F9B34FB");
  for (const char* text : {"", "FEA", "FEAAA", "0xFEAA", "FEAG", "0000FEAA-0000"}) {
    EXPECT_FALSE(Uuid::parseBluetooth(text)) << text;
  }
}

}  // namespace
}  // namespace lumora::testing
