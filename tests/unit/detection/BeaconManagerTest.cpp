#include <gtest/gtest.h>

#include "DetectionWorld.hpp"

namespace lumora::testing {
namespace {

constexpr const char* kManager = "BeaconManager";
constexpr const char* kCallbacks = "setupBeaconCallbacks()";
constexpr const char* kTimeoutTick = "startIBeaconTimeoutTimer()";
constexpr const char* kTimeoutMessage = "iBeacon timeout reached, stopped custom beacon scanning";
constexpr const char* kProcessed =
    "Processing beacon data: companyId=4660, spaceId=0a1b2c3d4e5f6071, bindingId=300";
constexpr const char* kSkipped =
    "Skipping duplicate beacon data: companyId=4660, spaceId=0a1b2c3d4e5f6071, bindingId=300";

using BeaconManagerTest = DetectionWorld;
using Detection = RecordingBeaconListener::Detection;

class Gate : public BeaconManagerTest {
 protected:
  std::size_t timeoutLogs() const {
    return countLogs(LogLevel::debug, kManager, kTimeoutTick, kTimeoutMessage);
  }
  std::size_t cleanupLogs() const {
    return countLogs(LogLevel::debug, kManager, "startCleanupTimer()",
                     "Cleared expired beacon deduplicator entries");
  }
  void start() {
    std::vector<ScanOutcome> outcomes;
    manager->startScanning(recordInto(outcomes));
    ASSERT_EQ(outcomes.size(), 1u);
    ASSERT_TRUE(outcomes[0].success);
  }
};

TEST_F(Gate, OpensOnTheFirstIBeaconAndStartsTheBluetoothScanOnce) {
  start();
  runUntil(1.0);
  // Before any iBeacon the gate is closed: a sighting is neither reported nor logged.
  centralAdapter->centralDidDiscover(customBeacon());
  EXPECT_TRUE(listener->detections.empty());
  EXPECT_EQ(platform->log->count(kProcessed), 0u);
  EXPECT_EQ(scanStarts(), 0u);

  iBeaconEverySecond(2.0, 8.0);
  transmitAt(3.0, customBeacon());
  runUntil(8.0);

  EXPECT_EQ(central->scanRecords().size(), 1u);
  EXPECT_EQ(listener->detections, (std::vector<Detection>{{4660, kSpaceId, 300}}));
  EXPECT_EQ(countLogs(LogLevel::debug, kManager, kCallbacks, kProcessed), 1u);
}

TEST_F(Gate, ClosesOnTheFirstTickMoreThanTenSecondsAfterTheLastIBeacon) {
  start();
  // Heard once at 5 s, just before that second's ranging report: the last
  // sighting is at 5 s. At the 15 s tick exactly 10 s have passed, not more.
  transmitAt(5.0, iBeacon());
  transmitAt(15.5, customBeacon());
  runUntil(15.5);
  EXPECT_TRUE(customScanner->isScanning());
  EXPECT_EQ(listener->detections.size(), 1u);
  EXPECT_EQ(timeoutLogs(), 0u);

  runUntil(16.0);
  EXPECT_FALSE(customScanner->isScanning());
  EXPECT_EQ(scanStops(), 1u);
  EXPECT_EQ(timeoutLogs(), 1u);

  runUntil(40.0);
  EXPECT_EQ(timeoutLogs(), 1u);
  EXPECT_EQ(scanStops(), 1u);
}

TEST_F(Gate, RangingReportsEverySecondKeepItOpen) {
  start();
  iBeaconEverySecond(0.5, 40.5);
  transmitAt(39.5, customBeacon());
  runUntil(51.5);
  EXPECT_EQ(listener->detections.size(), 1u);
  EXPECT_EQ(scanStarts(), 1u);
  EXPECT_EQ(timeoutLogs(), 0u);
  // Last heard at 40.5 s, last ranged at 41 s: the 52 s tick closes the gate.
  runUntil(52.0);
  EXPECT_EQ(timeoutLogs(), 1u);
  EXPECT_EQ(scanStops(), 1u);
}

TEST_F(Gate, RepeatsWithinThirtySecondsAreDroppedAndLogged) {
  start();
  iBeaconEverySecond(0.5, 60.0);
  for (const double at : {2.0, 3.0, 32.0, 32.5}) transmitAt(at, customBeacon());
  transmitAt(4.0, customBeacon(301));
  runUntil(40.0);

  // 32 s is exactly 30 s after the first report and still a repeat.
  EXPECT_EQ(listener->detections,
            (std::vector<Detection>{
                {4660, kSpaceId, 300}, {4660, kSpaceId, 301}, {4660, kSpaceId, 300}}));
  EXPECT_EQ(countLogs(LogLevel::debug, kManager, kCallbacks, kSkipped), 2u);
  EXPECT_EQ(countLogs(LogLevel::debug, kManager, kCallbacks, kProcessed), 2u);
}

// The scanners may outlive the manager: once it is released, what they hear
// reaches no handler of it.
TEST_F(Gate, AReleasedManagerLeavesNoHandlerInTheScanners) {
  start();
  manager.reset();
  iBeaconEverySecond(0.5, 3.0);
  transmitAt(2.0, customBeacon());
  runUntil(3.0);
  EXPECT_EQ(scanStarts(), 0u);
  EXPECT_TRUE(listener->detections.empty());
}

TEST_F(Gate, StopClearsEverythingAndANewStartReportsOldBeaconsAgain) {
  start();
  iBeaconEverySecond(0.5, 100.0);
  transmitAt(2.0, customBeacon());
  runUntil(3.0);
  ASSERT_EQ(listener->detections.size(), 1u);

  manager->stopScanning();
  EXPECT_FALSE(manager->isScanning());
  EXPECT_FALSE(appleScanner->isScanning());
  EXPECT_FALSE(customScanner->isScanning());
  EXPECT_FALSE(central->isScanning());
  EXPECT_TRUE(location->monitoredRegions().empty());

  runUntil(4.0);
  start();
  transmitAt(5.0, customBeacon());
  runUntil(6.0);
  EXPECT_EQ(listener->detections.size(), 2u);
}

// Cleanup runs every 60 s (a second start adds no timers); stop ends both
// timers, and a second stop is ignored.
TEST_F(Gate, CleanupRunsEverySixtySecondsUntilStop) {
  start();
  start();
  runUntil(125.0);
  EXPECT_EQ(cleanupLogs(), 2u);
  manager->stopScanning();
  const auto recordsAfterStop = central->scanRecords().size();
  manager->stopScanning();
  runUntil(250.0);
  EXPECT_EQ(cleanupLogs(), 2u);
  EXPECT_EQ(central->scanRecords().size(), recordsAfterStop);
}

TEST_F(Gate, StartIsRefusedWithoutAlwaysAuthorization) {
  setLocationStatus(LocationAuthorizationStatus::authorizedWhenInUse);
  std::vector<ScanOutcome> outcomes;
  manager->startScanning(recordInto(outcomes));
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_FALSE(outcomes[0].success);
  EXPECT_EQ(outcomes[0].code, LumoraAdBeaconErrorType::unauthorizedLocationPermission);
  EXPECT_FALSE(manager->isScanning());
  runUntil(61.0);
  EXPECT_EQ(cleanupLogs(), 0u);
}

TEST_F(Gate, AnAuthorizationReportStartsMonitoringAndOpensTheGateBeforeStart) {
  runUntil(0.5);
  EXPECT_EQ(countLogs(LogLevel::debug, "AppleBeaconScanner", "didChangeAuthorization(status:)",
                      "Starting monitoring because scanning is not active"),
            1u);
  ASSERT_EQ(location->monitoredRegions().size(), 1u);
  EXPECT_EQ(location->monitoredRegions()[0].identifier, kRegionIdentifier);

  transmitAt(1.0, iBeacon());
  transmitAt(2.0, customBeacon());
  runUntil(60.0);
  EXPECT_EQ(listener->detections.size(), 1u);
  EXPECT_TRUE(customScanner->isScanning());  // no timeout tick runs yet
  EXPECT_EQ(timeoutLogs(), 0u);

  start();
  runUntil(61.0);
  EXPECT_EQ(timeoutLogs(), 1u);
  EXPECT_FALSE(customScanner->isScanning());
}

}  // namespace
}  // namespace lumora::testing
