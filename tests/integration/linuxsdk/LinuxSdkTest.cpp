#include <gmock/gmock.h>

#include <algorithm>

#include <lumora/LinuxLocationPolicy.hpp>
#include "LinuxSdkWorld.hpp"

#include "core/net/CreativeWebService.hpp"
#include "platform/linux/NetlinkReachabilityService.hpp"

namespace lumora::testing {
namespace {

constexpr std::int64_t kBindingId = 0x0a0b0c;
constexpr const char* kCreative =
    R"({"campaignId":12,"creativeId":345,"title":"Spring sale","message":"Shoes half price",
        "data":"payload"})";

using test::until;

class LinuxSdkTest : public LinuxSdkWorld {
 protected:
  void SetUp() override {
    LinuxSdkWorld::SetUp();
    if (IsSkipped()) return;
    // Without a default route the SDK rightly treats the machine as offline.
    auto handle = platform::NetlinkReachabilityService().createWithAddress({}).handle;
    if (!handle || handle->flags().value_or(0) == 0) GTEST_SKIP() << "no default route";
    server.respond(
        "/bucket/binding/" + CreativeWebService::formatBindingId(kBindingId) + "/ios.json",
        TestHttpsServer::Response(200, kCreative));
  }

  /// The first creative handed to the callback `callName` is the one served
  /// for the beacon on the air (creatives are read and mapped by the core alone).
  void expectDelivered(const std::string& callName) const {
    const auto& calls = callback->calls();
    const auto call =
        std::find_if(calls.begin(), calls.end(), [&](const auto& c) { return c.name == callName; });
    ASSERT_NE(call, calls.end());
    EXPECT_EQ(call->creative->creativeId(), 345);
    EXPECT_EQ(call->creative->bindingId(), kBindingId);
    EXPECT_EQ(call->creative->spaceId(), kSpaceId);
  }
};

TEST_F(LinuxSdkTest, BeaconsOnTheAirBecomeACreativeANotificationAndOnTapAClick) {
  startSdk();
  ASSERT_TRUE(until([&] { return callsNamed("onInitialized") == 1; }));
  // Region monitoring runs BlueZ discovery as soon as the SDK is started.
  ASSERT_TRUE(until([&] { return bluez->discovering(); }));

  advertiseIBeacon("AA:BB:CC:00:00:01");
  advertiseCustomBeacon("AA:BB:CC:00:00:02", kBindingId);
  ASSERT_TRUE(until([&] { return callsNamed("onCreativeReceived") >= 1; }));
  expectDelivered("onCreativeReceived");
  EXPECT_EQ(callsNamed("onError"), 0u);

  ASSERT_TRUE(until([&] { return bus->notifyCalls().size() >= 1; }));
  EXPECT_THAT(bus->notifyCalls().at(0),
              ::testing::HasSubstr("<'Spring sale'>, <'Shoes half price'>"));
  ASSERT_TRUE(until([&] { return !eventsOfType("request").empty(); }));
  EXPECT_EQ(eventsOfType("request").front()["bindingId"], kBindingId);

  // The mock server numbers its notifications from 1.
  bus->notificationSignal("ActionInvoked", 1, g_variant_new_string("default"));
  ASSERT_TRUE(until(
      [&] { return callsNamed("onNotificationClicked") == 1 && !eventsOfType("click").empty(); }));
  expectDelivered("onNotificationClicked");
  EXPECT_EQ(eventsOfType("click").front()["bindingId"], kBindingId);
}

TEST_F(LinuxSdkTest, HostRevokingLocationStopsMonitoringAndTheDiscoveryItNeeded) {
  startSdk();
  ASSERT_TRUE(until([&] { return bluez->adapterCalls("StartDiscovery") > 0; }));
  lumora::setLocationAuthorization(LocationAuthorization::denied);
  const bool stopped = until([&] {
    return platform->locationService()->authorizationStatus() == 2 &&
           platform->locationService()->monitoredRegions().empty() &&
           bluez->adapterCalls("StopDiscovery") > 0;
  });
  lumora::setLocationAuthorization(LocationAuthorization::authorizedAlways);
  EXPECT_TRUE(stopped);
}

}  // namespace
}  // namespace lumora::testing
