#include <gtest/gtest.h>

#include "DetectionWorld.hpp"

namespace lumora::testing {
namespace {

constexpr const char* kNotGranted =
    "Location permission not granted. Please allow location access in settings.";

// One row of the permission table shared by both scanners.
struct PermissionCase {
  LocationAuthorizationStatus status;
  LogLevel level;
  std::string log;
  std::optional<LumoraAdBeaconErrorType> code;  // none: authorized
  std::string message;
};

std::string statusName(const ::testing::TestParamInfo<PermissionCase>& info) {
  constexpr const char* kNames[] = {"NotDetermined", "Restricted", "Denied", "Always", "WhenInUse"};
  return kNames[static_cast<int>(info.param.status)];
}

class LocationPermission : public DetectionWorld,
                           public ::testing::WithParamInterface<PermissionCase> {
 protected:
  void SetUp() override { setLocationStatus(GetParam().status); }
};

TEST_P(LocationPermission, CheckLocationPermissionAndTheBluetoothScanFollowTheTable) {
  const auto& row = GetParam();
  const auto result = customScanner->checkLocationPermission();
  EXPECT_EQ(result.authorized, !row.code.has_value());
  EXPECT_EQ(result.error.has_value(), row.code.has_value());
  if (result.error) {
    EXPECT_EQ(result.error->code(), row.code);
    EXPECT_EQ(result.error->message(), row.message);
  }
  EXPECT_EQ(countLogs(row.level, "AbstractBeaconScanner", "checkLocationPermission()", row.log),
            1u);
  EXPECT_EQ(platform->log->records().size(), 1u);
  // The Bluetooth scan is refused with the same error, before the radio is asked.
  std::vector<ScanOutcome> outcomes;
  customScanner->startScanning(recordInto(outcomes));
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_EQ(outcomes[0].code, row.code);
  EXPECT_EQ(customScanner->isScanning(), !row.code.has_value());
  EXPECT_EQ(scanStarts(), row.code ? 0u : 1u);
}

TEST_P(LocationPermission, TheIBeaconScannerAcceptsOnlyAlwaysAndLogsNothingItself) {
  std::vector<ScanOutcome> outcomes;
  appleScanner->startScanning(recordInto(outcomes));
  ASSERT_EQ(outcomes.size(), 1u);
  const bool always = GetParam().status == LocationAuthorizationStatus::authorizedAlways;
  EXPECT_EQ(outcomes[0].success, always);
  EXPECT_EQ(appleScanner->isScanning(), always);
  if (!always) {
    EXPECT_EQ(outcomes[0].code, LumoraAdBeaconErrorType::unauthorizedLocationPermission);
    EXPECT_EQ(outcomes[0].message, kNotGranted);
    EXPECT_TRUE(platform->log->records().empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryStatus, LocationPermission,
    ::testing::Values(
        PermissionCase{LocationAuthorizationStatus::notDetermined, LogLevel::debug,
                       "Location permission not determined",
                       LumoraAdBeaconErrorType::unauthorizedLocationPermission, kNotGranted},
        PermissionCase{LocationAuthorizationStatus::denied, LogLevel::error,
                       "Location permission denied or restricted",
                       LumoraAdBeaconErrorType::unauthorizedLocationPermission, kNotGranted},
        PermissionCase{LocationAuthorizationStatus::authorizedAlways, LogLevel::debug,
                       "Location permission 'Always' granted", std::nullopt, ""},
        PermissionCase{LocationAuthorizationStatus::authorizedWhenInUse, LogLevel::warning,
                       "Location permission is 'When In Use' but 'Always' is required for "
                       "background beacon monitoring",
                       LumoraAdBeaconErrorType::locationPermissionNotAlways,
                       "Location permission not set to 'Always'. Please update in settings."}),
    statusName);

class IBeaconScanner : public DetectionWorld {
 protected:
  std::size_t scannerLogs(const std::string& function, const std::string& message) const {
    return countLogs(LogLevel::debug, "AppleBeaconScanner", function, message);
  }
};

TEST_F(IBeaconScanner, AReportWhileScanningChangesNothingButLosingAlwaysStopsTheRegions) {
  appleScanner->startScanning(nullptr);
  runFor(0.1);
  EXPECT_EQ(
      scannerLogs("didChangeAuthorization(status:)", "Nothing to do because scanning is active"),
      1u);
  EXPECT_EQ(location->monitoredRegions().size(), 1u);

  location->startMonitoring({"host-region", "11111111-2222-3333-4444-555555555555"});
  setLocationStatus(LocationAuthorizationStatus::denied);
  runFor(0.1);
  EXPECT_EQ(logLines("AppleBeaconScanner").back(),
            "DEBUG didChangeAuthorization(status:): Location authorization changed: denied");
  EXPECT_TRUE(location->monitoredRegions().empty());
  EXPECT_FALSE(location->needsAdvertisements());
  EXPECT_TRUE(appleScanner->isScanning());
}

TEST_F(IBeaconScanner, EntryStartsRangingAndReportsExitOnlyStopsIt) {
  int detections = 0;
  appleScanner->setOnBeaconDetected([&] { ++detections; });
  const BeaconRegion region(*Uuid::parse(kRegionUuid), kRegionIdentifier);
  appleScanner->didEnterRegion(region);
  EXPECT_EQ(detections, 1);
  EXPECT_TRUE(location->needsAdvertisements());  // ranging only
  appleScanner->didExitRegion(region);
  EXPECT_EQ(detections, 1);
  EXPECT_FALSE(location->needsAdvertisements());
  EXPECT_EQ(scannerLogs("didEnterRegion(region:)", "Entered iBeacon region: lumora-region"), 1u);
  EXPECT_EQ(scannerLogs("didExitRegion(region:)", "Exited iBeacon region: lumora-region"), 1u);

  appleScanner->didRangeBeacons({}, region);
  EXPECT_EQ(detections, 1);
  appleScanner->didRangeBeacons({Beacon(region.uuid(), 1, 2), Beacon(region.uuid(), 1, 3)}, region);
  EXPECT_EQ(detections, 2);
}

class MisconfiguredIBeaconScanner : public DetectionWorld {
 protected:
  MisconfiguredIBeaconScanner() : DetectionWorld({"not-a-uuid", kRegionIdentifier, kServiceUuid}) {}
};

TEST_F(MisconfiguredIBeaconScanner, AnInvalidUuidIsLoggedAndStartStillSucceeds) {
  std::vector<ScanOutcome> outcomes;
  appleScanner->startScanning(recordInto(outcomes));
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_TRUE(outcomes[0].success);
  EXPECT_EQ(countLogs(LogLevel::error, "AppleBeaconScanner", "startMonitoringBeaconRegions()",
                      "Invalid UUID format: not-a-uuid"),
            1u);
  EXPECT_TRUE(location->monitoredRegions().empty());
}

}  // namespace
}  // namespace lumora::testing
