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

}  // namespace
}  // namespace lumora::testing
