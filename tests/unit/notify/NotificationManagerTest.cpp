#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "NotificationFixture.hpp"
#include "core/util/Uuid.hpp"

namespace lumora {
namespace {

using platform::NotificationUserInfo;
using platform::PlatformError;
using platform::SimNotificationCenter;

class NotificationManagerTest : public testing::NotificationFixture {
 protected:
  /// The messages logged under the manager's name, in order.
  std::vector<std::string> managerMessages() const {
    std::vector<std::string> messages;
    for (const auto& record : platform->log->records()) {
      if (record.file == "NotificationManager") messages.push_back(record.message);
    }
    return messages;
  }
  /// The error of a completion that ran and answered false, if of that type.
  template <class Error>
  static std::optional<Error> failureOf(const Outcome& outcome) {
    EXPECT_TRUE(outcome.called && !outcome.success);
    const auto* error = outcome.error ? std::get_if<Error>(&*outcome.error) : nullptr;
    return error ? std::optional<Error>(*error) : std::nullopt;
  }
};

// Optional values are written whenever present, even when empty.
TEST_F(NotificationManagerTest, EachCallSchedulesItsOwnOneSecondNotification) {
  show("x", minimalProfile());
  show("", ClientProfile("", "ann@example.com", "Shop", "AD-1"));
  runFor(0);
  const auto added = center->added();
  ASSERT_EQ(added.size(), 2u);
  const auto userInfo = added[1].request.userInfo;
  EXPECT_EQ(userInfo.size(), 10u);
  EXPECT_EQ(userInfo.at("phoneNumber"), platform::NotificationValue(std::string("")));
  EXPECT_EQ(userInfo.at("email"), platform::NotificationValue(std::string("ann@example.com")));
  EXPECT_EQ(userInfo.at("advertisingId"), platform::NotificationValue(std::string("AD-1")));
  EXPECT_EQ(userInfo.at("data"), platform::NotificationValue(std::string("")));
  const std::string prefix = "com.lumora.beacon.notification ";
  for (const auto& [request, addedAt] : added) {
    EXPECT_EQ(request.identifier.size(), 67u);
    EXPECT_TRUE(request.identifier.starts_with(prefix)) << request.identifier;
    const auto uuid = Uuid::parse(request.identifier.substr(prefix.size()));
    ASSERT_TRUE(uuid.has_value()) << request.identifier;
    EXPECT_EQ(uuid->text(), request.identifier.substr(prefix.size()));
    EXPECT_EQ(request.title, "Sale");
    EXPECT_EQ(request.body, "20% off today");
    EXPECT_TRUE(request.defaultSound);
    EXPECT_EQ(request.triggerInterval, 1.0);
    EXPECT_FALSE(request.repeats);
  }
  EXPECT_NE(added[0].request.identifier, added[1].request.identifier);

  runFor(0.999);
  EXPECT_TRUE(center->delivered().empty());
  runFor(0.001);
  const auto delivered = center->delivered();
  ASSERT_EQ(delivered.size(), 2u);
  for (const auto& delivery : delivered) {
    EXPECT_EQ(delivery.deliveredAt - added[delivery.index].addedAt, std::chrono::seconds(1));
    EXPECT_EQ(delivery.presentationOptions, 7u);
  }
}

TEST_F(NotificationManagerTest, SuccessfulAddIsReportedAsNotificationEventBeforeAnswering) {
  platform->virtualClock->setNow(platform::VirtualClock::fromSeconds(1700000000.9999));
  std::size_t requestsWhenAdded = 99;
  center->setAddObserver([&](const SimNotificationCenter::AddedNotification&) {
    requestsWhenAdded = http->requests().size();
  });
  const auto outcome = show(std::nullopt, minimalProfile());
  runFor(0);

  // Without data or contacts the notification carries exactly six typed keys.
  const NotificationUserInfo expected{
      {"campaignId", std::int64_t{kCampaignId}},    {"creativeId", std::int64_t{kCreativeId}},
      {"bindingId", std::int64_t{kBindingId}},      {"spaceId", std::string(kSpaceId)},
      {"clientUUID", std::string(kInstallationId)}, {"appName", std::string("Shop")}};
  EXPECT_EQ(center->added().at(0).request.userInfo, expected);
  EXPECT_EQ(requestsWhenAdded, 0u);
  ASSERT_EQ(http->requests().size(), 1u);
  const auto request = http->requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, std::string(kNoTrackingURL) + "/device_events");
  const auto body = http->jsonBody(0);
  EXPECT_EQ(body["eventType"], "notification");
  EXPECT_EQ(body["timestamp"], 1700000000999);
  EXPECT_EQ(body["bindingId"], kBindingId);
  EXPECT_EQ(body["cid"], kCampaignId);
  EXPECT_EQ(body["crid"], kCreativeId);
  EXPECT_EQ(body["uuid"], kInstallationId);
  EXPECT_EQ(body["spaceInfo"], nlohmann::json({{"spaceId", kSpaceId}}));
  EXPECT_EQ(body["clientInfo"]["appName"], "Shop");

  EXPECT_TRUE(outcome->called);
  EXPECT_TRUE(outcome->success);
  EXPECT_FALSE(outcome->error.has_value());
  const std::vector<std::string> expectedLog{
      "showNotification called with title: 'Sale', message: '20% off today'",
      "Authorization status: 2, authorized: true",
      "Notification permission authorized, creating notification content",
      "Notification request added successfully with identifier: " +
          center->added().at(0).request.identifier,
      "Event sent successfully"};
  EXPECT_EQ(managerMessages(), expectedLog);
}

TEST_F(NotificationManagerTest,
       OnlyAuthorizedStatusAllowsNotificationsAndPermissionIsAskedForAllThree) {
  for (std::int64_t status : {0, 1, 3, 4}) {
    SCOPED_TRACE(status);
    platform->log->clear();
    center->setAuthorizationStatus(status);
    const auto outcome = show("x", minimalProfile());
    runFor(0);
    const auto error = failureOf<LumoraAdBeaconError>(*outcome);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), LumoraAdBeaconErrorType::unauthorizedNotificationPermission);
    EXPECT_EQ(error->message(),
              "Notification permission not granted. Please allow notifications in settings.");
    const std::vector<std::string> expectedLog{
        "showNotification called with title: 'Sale', message: '20% off today'",
        "Authorization status: " + std::to_string(status) + ", authorized: false",
        "Notification permission not authorized"};
    EXPECT_EQ(managerMessages(), expectedLog);
  }
  EXPECT_TRUE(center->added().empty());
  EXPECT_TRUE(http->requests().empty());

  center->setAuthorizationStatus(SimNotificationCenter::kNotDetermined);
  std::optional<bool> granted;
  manager->requestPermission(
      [&](bool answer, std::optional<PlatformError> error) { granted = answer && !error; });
  std::optional<bool> authorized;
  runFor(0);
  manager->checkPermission([&](bool answer) { authorized = answer; });
  runFor(0);
  EXPECT_EQ(granted, true);
  EXPECT_EQ(center->requestedAuthorizationOptions(), std::vector<std::uint64_t>{7});
  EXPECT_EQ(authorized, true);
}

TEST_F(NotificationManagerTest, FailedEventOrRefusalAnswersFalseWithTheirOwnError) {
  http->respondWith(503);
  const auto outcome = show("x", minimalProfile());
  runFor(1.0);
  const auto error = failureOf<PlatformError>(*outcome);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 503);
  EXPECT_EQ(error->localizedDescription, "HTTP error: 503");
  EXPECT_EQ(platform->log->count("Failed to send event: HTTP error: 503"), 1u);
  EXPECT_EQ(center->delivered().size(), 1u);

  // A refusal by the platform is passed on unchanged and not reported.
  const PlatformError refusal{"UNErrorDomain", 1, "Notifications are not allowed for this app"};
  center->setAddError(refusal);
  const auto refused = show("x", minimalProfile());
  runFor(0);
  const auto refusedError = failureOf<PlatformError>(*refused);
  ASSERT_TRUE(refusedError);
  EXPECT_EQ(refusedError->domain, refusal.domain);
  EXPECT_EQ(refusedError->code, refusal.code);
  EXPECT_EQ(localizedDescription(*refused->error), refusal.localizedDescription);
  EXPECT_EQ(http->requests().size(), 1u) << "only the first notification was reported";
  EXPECT_EQ(managerMessages().back(),
            "Failed to add notification request: Notifications are not allowed for this app");
}

// Released while the permission is checked nothing is scheduled; released
// while the center adds, the notification stays but nothing is reported.
TEST_F(NotificationManagerTest, AManagerReleasedMidwayNeitherReportsNorAnswers) {
  for (const bool duringAdd : {false, true}) {
    SCOPED_TRACE(duringAdd ? "during add" : "during the permission check");
    manager = NotificationManager::create(eventService, adapter, platform->virtualQueue,
                                          platform->virtualClock);
    if (duringAdd) {
      center->setAddObserver(
          [&](const SimNotificationCenter::AddedNotification&) { manager.reset(); });
    }
    const auto added = center->added().size();
    const auto outcome = show("x", minimalProfile());
    if (!duringAdd) manager.reset();
    runFor(2.0);
    EXPECT_EQ(center->added().size(), added + (duringAdd ? 1 : 0));
    // With no manager to ask, a notification due is presented with no options.
    if (duringAdd) {
      ASSERT_EQ(center->delivered().size(), 1u);
      EXPECT_EQ(center->delivered()[0].presentationOptions, 0u);
    }
    EXPECT_FALSE(outcome->called);
    EXPECT_TRUE(http->requests().empty());
  }
}

// Stands in for a delegate the host application installed on the center.
class HostDelegate : public platform::NotificationCenterDelegate {
 public:
  void willPresent(const platform::NotificationRequest&,
                   std::function<void(std::uint64_t)> completion) override {
    ++calls;
    completion(0);
  }
  void didReceive(const platform::NotificationResponse&,
                  std::function<void()> completion) override {
    ++calls;
    completion();
  }
  int calls = 0;
};

TEST_F(NotificationManagerTest, NewManagerTakesOverTheCenterDelegate) {
  EXPECT_NE(adapter->delegate().lock(), nullptr);
  const auto hostDelegate = std::make_shared<HostDelegate>();
  center->setDelegate(hostDelegate);
  EXPECT_EQ(adapter->delegate().lock(), nullptr);

  const auto otherAdapter = std::make_shared<UserNotificationCenterAdapter>(center);
  const auto otherManager = NotificationManager::create(
      eventService, otherAdapter, platform->virtualQueue, platform->virtualClock);
  EXPECT_NE(center->delegate().lock(), hostDelegate);
  EXPECT_NE(otherAdapter->delegate().lock(), nullptr);

  show("x", minimalProfile());
  runFor(1.0);
  ASSERT_EQ(center->delivered().size(), 1u);
  EXPECT_EQ(center->delivered()[0].presentationOptions, 7u);
  EXPECT_EQ(hostDelegate->calls, 0);
}

}  // namespace
}  // namespace lumora
