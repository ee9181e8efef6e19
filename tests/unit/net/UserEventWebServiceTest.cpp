#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "core/net/UserEventWebService.hpp"
#include "unit/net/NetTestSupport.hpp"

namespace lumora {
namespace {

using nlohmann::json;
using platform::PlatformError;
using testing::CompletionProbe;

constexpr const char* kSpaceId = "0123456789abcdef";

class UserEventWebServiceTest : public testing::NetTest {
 protected:
  UserEventWebServiceTest() {
    server.respond("/track/device_events", {200});
    server.respond("/notrack/device_events", {200});
  }

  std::shared_ptr<UserEventWebService> serviceWith(std::optional<ClientProfile> profile) {
    return std::make_shared<UserEventWebService>(
        APIConfiguration(Environment::production, server.url("/track"), server.url("/notrack/"),
                         "cdn.example", "b"),
        std::make_shared<HttpRequestSender>(session), urls, std::move(profile));
  }

  static EventRequest event(EventType type, const ClientProfile& profile,
                            std::optional<std::int64_t> campaignId = std::nullopt,
                            std::optional<std::int64_t> creativeId = std::nullopt) {
    return EventRequest{type, 1700000000123, 4660, profile, kSpaceId, campaignId, creativeId};
  }

  std::tuple<bool, std::optional<PlatformError>> send(const UserEventWebService& service,
                                                      const EventRequest& request) {
    CompletionProbe<bool, std::optional<PlatformError>> probe;
    service.sendEvent(request, probe.callback());
    return probe.wait();
  }

  json lastBody() const { return json::parse(server.requests().back().body); }
  std::string lastPath() const { return server.requests().back().target; }

  // Built first: the store remembers phone and e-mail for later profiles.
  ClientProfile bare{std::nullopt, std::nullopt, "Shop", std::nullopt};
  ClientProfile full{"+15551234", "a@b.example", "Shop", "AD-ID"};
};

// The service's own profile, not the event's, picks the endpoint: an advertising
// identifier (even an empty one) means tracking.
TEST_F(UserEventWebServiceTest, RequestEventGoesWhereTheServicesProfileSaysKeyByKey) {
  const auto service = serviceWith(full);
  EXPECT_EQ(service->getClientUUID(), kInstallationId);
  const auto [success, error] = send(*service, event(EventType::request, full));
  EXPECT_TRUE(success);
  EXPECT_FALSE(error);
  EXPECT_EQ(lastPath(), "/track/device_events");
  const json expected = {
      {"timestamp", 1700000000123},
      {"eventType", "request"},
      {"uuid", kInstallationId},
      {"bindingId", 4660},
      {"clientInfo",
       {{"platform", "ios"},
        {"appName", "Shop"},
        {"deviceMode", "arm64-test"},
        {"deviceId", "AD-ID"},
        {"phoneNumber", "+15551234"},
        {"email", "a@b.example"}}},
      {"spaceInfo", {{"spaceId", kSpaceId}}},
  };
  EXPECT_EQ(lastBody(), expected);
  EXPECT_TRUE(lastBody()["timestamp"].is_number_integer());
  EXPECT_TRUE(lastBody()["bindingId"].is_number_integer());

  const std::pair<std::optional<ClientProfile>, const char*> steps[] = {
      {bare, "/notrack/device_events"},
      {ClientProfile(std::nullopt, std::nullopt, "Shop", ""), "/track/device_events"},
      {std::nullopt, "/notrack/device_events"},
  };
  for (const auto& [profile, path] : steps) {
    service->setClientProfile(profile);
    send(*service, event(EventType::request, full));
    EXPECT_EQ(lastPath(), path);
  }
  EXPECT_EQ(service->getClientUUID(), "");
  for (const auto& request : server.requests()) {
    EXPECT_EQ(request.method, "POST");
    EXPECT_FALSE(request.query);
    EXPECT_EQ(request.headerValues("Content-Type"), std::vector<std::string>{"application/json"});
  }
}

TEST_F(UserEventWebServiceTest,
       NotificationAndClickEventsCarryCampaignAndCreativeAndUrlFailuresAreReported) {
  const auto service = serviceWith(bare);
  server.respond("/notrack/device_events", {204, "not even json"});  // the reply is not read
  for (const auto type : {EventType::notification, EventType::click}) {
    EXPECT_TRUE(std::get<0>(send(*service, event(type, bare, 12, 345))));
    const json body = lastBody();
    EXPECT_EQ(body["eventType"], type == EventType::click ? "click" : "notification");
    EXPECT_EQ(body["cid"], 12);
    EXPECT_EQ(body["crid"], 345);
    EXPECT_EQ(body.size(), 8u);
    EXPECT_EQ(body["clientInfo"],
              json({{"platform", "ios"}, {"appName", "Shop"}, {"deviceMode", "arm64-test"}}));
    EXPECT_EQ(body["spaceInfo"], json({{"spaceId", kSpaceId}}));
  }
  const UserEventWebService broken(
      APIConfiguration(Environment::stage, "", "not a url", "cdn.example", "b"),
      std::make_shared<HttpRequestSender>(session), urls, bare);
  const auto [built, urlError] = send(broken, event(EventType::request, bare));
  EXPECT_FALSE(built);
  ASSERT_TRUE(urlError);
  EXPECT_EQ(urlError->localizedDescription, "Invalid URL");
}

// Meaningful under the thread sanitizer: replacement and reads race freely.
TEST_F(UserEventWebServiceTest, ProfileIsReplacedWhileOtherThreadsReadIt) {
  const auto service = serviceWith(full);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) service->setClientProfile(i % 2 ? full : bare);
    done = true;
  });
  int reads = 0;
  while (!done || reads == 0) {
    const auto profile = service->getClientProfile();
    ASSERT_TRUE(profile);
    const auto advertisingId = profile->getAdvertisingId();
    EXPECT_TRUE(!advertisingId || *advertisingId == "AD-ID");
    ++reads;
  }
  writer.join();
}

}  // namespace
}  // namespace lumora
