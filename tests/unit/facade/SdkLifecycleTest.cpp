#include "FacadeWorld.hpp"

namespace lumora::testing {
namespace {

using ErrorType = LumoraAdBeaconErrorType;

class SdkLifecycleTest : public FacadeWorld {};

// Until initiated with a callback the SDK only logs; initiate then reports
// once, only after returning, and a second one changes nothing.
TEST_F(SdkLifecycleTest, InitiateNeedsACallbackAndReportsOnceAfterReturning) {
  createFacade();
  facade->initiate(ClientProfile(std::nullopt, std::nullopt, "App", std::nullopt), nullptr,
                   Environment::production);
  runFor(1);
  EXPECT_EQ(platform->log->count(
                "LumoraAdBeaconSDK cannot be initialized without a callback; initiate was ignored"),
            1u);
  facade->start();
  facade->stop();
  facade->onBeaconDetected(4660, kSpaceId, 300);
  runFor(1);
  EXPECT_FALSE(facade->isScanning());
  EXPECT_EQ(platform->log->count(
                "LumoraAdBeaconSDK is not initialized, please call initiate method first"),
            3u);
  EXPECT_TRUE(server.requests().empty());

  initiate();
  EXPECT_TRUE(callback->calls().empty());
  runFor(0);
  EXPECT_EQ(callback->names(), std::vector<std::string>{"onInitialized"});
  facade->initiate(ClientProfile(std::nullopt, std::nullopt, "Other", std::nullopt), callback,
                   Environment::production);
  runFor(1);
  EXPECT_EQ(callback->names(), std::vector<std::string>{"onInitialized"});
  EXPECT_EQ(platform->log->count(
                "LumoraAdBeaconSDK is already initialized. Environment can only be set during "
                "initialization."),
            1u);
}

TEST_F(SdkLifecycleTest, FailedInitiateReportsTheConfigurationErrorAndMayBeRetried) {
  installPlist(sdkPlist().set({}, "APIEndpoints", nullptr));
  initiate();
  runFor(0);
  ASSERT_EQ(callback->errors().size(), 1u);
  EXPECT_EQ(callback->errors()[0].code(), ErrorType::configurationError);
  EXPECT_EQ(callback->errors()[0].message(), "APIEndpoints section is missing in Info.plist");

  // The facade read sdk.plist once, when it was created: a retry meets the
  // same file, not one changed since.
  installPlist(sdkPlist());
  initiate();
  runFor(0);
  ASSERT_EQ(callback->errors().size(), 2u);
  EXPECT_EQ(callback->errors()[1].message(), "APIEndpoints section is missing in Info.plist");
  // Each detection then reports the missing service.
  facade->onBeaconDetected(4660, kSpaceId, 300);
  runFor(1);
  ASSERT_EQ(callback->errors().size(), 3u);
  EXPECT_EQ(callback->errors()[2].code(), ErrorType::configurationError);
  EXPECT_EQ(callback->errors()[2].message(), "UserEventWebService is not initialized");
}

TEST_F(SdkLifecycleTest, StartAndStopGuardsLogTheirLines) {
  initiate();
  facade->stop();
  EXPECT_EQ(platform->log->count("LumoraAdBeaconSDK is not started"), 1u);
  facade->start();
  EXPECT_TRUE(facade->isScanning());
  EXPECT_EQ(platform->log->count("Beacon scanning started successfully"), 1u);
  facade->start();
  EXPECT_EQ(platform->log->count("LumoraAdBeaconSDK is already running"), 1u);
  facade->stop();
  EXPECT_FALSE(facade->isScanning());
  EXPECT_TRUE(phone.location->monitoredRegions().empty());
}

TEST_F(SdkLifecycleTest, StartWithoutAlwaysLocationReportsTheScannerError) {
  phone.location->setAuthorizationStatus(4);
  initiate();
  facade->start();
  runFor(0);
  EXPECT_FALSE(facade->isScanning());
  ASSERT_EQ(callback->errors().size(), 1u);
  EXPECT_EQ(callback->errors()[0].code(), ErrorType::unauthorizedLocationPermission);
  EXPECT_EQ(platform->log->count(
                "Beacon scanning failed: Location permission not granted. Please allow location "
                "access in settings."),
            1u);
}

TEST_F(SdkLifecycleTest, MissingBeaconSettingsLeaveTheFacadeWithoutBeaconManager) {
  installPlist(sdkPlist().set({}, "BeaconSettings", nullptr));
  initiate();
  EXPECT_EQ(
      platform->log->count(
          "Failed to initialize BeaconManager: BeaconSettings section is missing in sdk.plist"),
      1u);
  facade->start();
  runFor(0);
  ASSERT_EQ(callback->errors().size(), 1u);
  EXPECT_EQ(callback->errors()[0].message(), "BeaconManager is not initialized");
  EXPECT_FALSE(facade->isScanning());
}

TEST_F(SdkLifecycleTest, ProfileGivenToInitiateReplacesAnEarlierUpdate) {
  createFacade();
  facade->updateClientProfile(ClientProfile(std::nullopt, std::nullopt, "Early", std::nullopt));
  initiate();
  serveCreative(R"({"campaignId":1,"creativeId":2,"title":"t","message":"m"})");
  facade->onBeaconDetected(4660, kSpaceId, 300);
  runFor(5);
  ASSERT_FALSE(events().empty());
  EXPECT_EQ(events()[0]["clientInfo"]["appName"], "StoreApp");

  facade->updateClientProfile(ClientProfile(std::nullopt, std::nullopt, "Later", "AD-ID"));
  facade->onBeaconDetected(4660, kSpaceId, 300);
  runFor(5);
  ASSERT_EQ(server.requests().back().path, "/events/device_events");
  EXPECT_EQ(events().back()["clientInfo"]["appName"], "Later");
}

}  // namespace
}  // namespace lumora::testing
