#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "NotificationFixture.hpp"

namespace lumora {
namespace {

using platform::NotificationUserInfo;
using platform::SimNotificationCenter;

class NotificationDelegateTest : public testing::NotificationFixture {
 protected:
  NotificationDelegateTest() {
    manager->setNotificationClickHandler([this](const LumoraAdCreative& creative) {
      clicks.push_back(
          {creative, std::this_thread::get_id(), http->answeredCount(), tapCompleted()});
    });
  }

  /// Schedules a notification the way the host application itself could, and delivers it.
  std::size_t scheduleByHost(NotificationUserInfo userInfo) {
    platform::NotificationRequest request;
    request.identifier = "host";
    request.userInfo = std::move(userInfo);
    request.triggerInterval = 1.0;
    center->add(request, [](auto) {});
    runFor(1.0);
    return center->added().size() - 1;
  }

  bool tapCompleted() const {
    const auto taps = center->taps();
    return !taps.empty() && taps.back().completedAt.has_value();
  }

  struct Click {
    LumoraAdCreative creative;
    std::thread::id thread;
    std::size_t answeredEvents;
    bool tapCompletedBefore;
  };
  std::vector<Click> clicks;
};

TEST_F(NotificationDelegateTest, TapReportsClickThenCallsHandlerThenCompletesOnMainQueue) {
  show("{\"deal\":1}", ClientProfile("+15550100", "ann@example.com", "Shop", "AD-1"));
  runFor(1.0);
  ASSERT_TRUE(center->simulateTap(0));
  EXPECT_FALSE(tapCompleted());
  runFor(0);

  ASSERT_EQ(clicks.size(), 1u);
  const auto& click = clicks[0];
  EXPECT_EQ(click.thread, std::this_thread::get_id());
  EXPECT_EQ(click.answeredEvents, 2u);
  EXPECT_FALSE(click.tapCompletedBefore);
  EXPECT_TRUE(tapCompleted());
  EXPECT_EQ(click.creative.data(), std::optional<std::string>("{\"deal\":1}"));
  EXPECT_EQ(click.creative.creativeId(), kCreativeId);
  EXPECT_EQ(click.creative.bindingId(), kBindingId);
  EXPECT_EQ(click.creative.campaignId(), kCampaignId);
  EXPECT_EQ(click.creative.spaceId(), kSpaceId);

  ASSERT_EQ(http->requests().size(), 2u);
  const auto body = http->jsonBody(1);
  EXPECT_EQ(body["eventType"], "click");
  EXPECT_EQ(body["bindingId"], kBindingId);
  EXPECT_EQ(body["cid"], kCampaignId);
  EXPECT_EQ(body["crid"], kCreativeId);
  EXPECT_EQ(body["spaceInfo"], nlohmann::json({{"spaceId", kSpaceId}}));
  EXPECT_EQ(body["clientInfo"]["appName"], "Shop");
  EXPECT_EQ(body["clientInfo"]["phoneNumber"], "+15550100");
  EXPECT_EQ(body["clientInfo"]["email"], "ann@example.com");
  EXPECT_EQ(body["clientInfo"]["deviceId"], "AD-1");

  // A manager released before the tap is handled drops the creative but completes the tap.
  show(std::nullopt, minimalProfile());
  runFor(1.0);
  ASSERT_TRUE(center->simulateTap(1));
  manager.reset();
  runFor(0);
  EXPECT_EQ(clicks.size(), 1u);
  EXPECT_TRUE(tapCompleted());
  EXPECT_EQ(http->requests().size(), 4u);
}

TEST_F(NotificationDelegateTest, ForeignNotificationsAreShownAndOnlyCompleteOnesReportATap) {
  const NotificationUserInfo complete{{"bindingId", std::int64_t{1}},
                                      {"campaignId", std::int64_t{2}},
                                      {"creativeId", std::int64_t{3}},
                                      {"appName", std::string("Shop")}};
  std::vector<NotificationUserInfo> foreign{{}};
  for (const auto& [key, value] : complete) {
    auto missing = complete;
    missing.erase(key);
    foreign.push_back(missing);
    auto mistyped = complete;
    mistyped[key] = std::holds_alternative<std::string>(value)
                        ? platform::NotificationValue(std::int64_t{7})
                        : platform::NotificationValue(std::string("1"));
    foreign.push_back(mistyped);
  }
  for (const auto& userInfo : foreign) {
    const auto index = scheduleByHost(userInfo);
    EXPECT_EQ(center->delivered().back().presentationOptions, 7u);
    ASSERT_TRUE(center->simulateTap(index));
    EXPECT_TRUE(tapCompleted()) << "tap " << index << " not completed at once";
  }
  runFor(0);
  EXPECT_TRUE(clicks.empty());
  EXPECT_TRUE(http->requests().empty());
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), foreign.size());
  for (const auto& record : records) {
    EXPECT_EQ(record.file, "NotificationManager");
    EXPECT_EQ(record.function, "userNotificationCenter(_:willPresent:withCompletionHandler:)");
    EXPECT_EQ(record.levelName, "DEBUG");
    EXPECT_EQ(record.message,
              "willPresent notification called - showing notification in foreground");
  }
  // Complete but without data or space: those become empty strings.
  ASSERT_TRUE(center->simulateTap(scheduleByHost(complete)));
  runFor(0);
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0].creative.data(), std::optional<std::string>(""));
  EXPECT_EQ(clicks[0].creative.spaceId(), "");
  ASSERT_EQ(http->requests().size(), 1u);
  EXPECT_EQ(http->jsonBody(0)["spaceInfo"], nlohmann::json({{"spaceId", ""}}));
}

TEST_F(NotificationDelegateTest, AnyActionIsATapAndAFailedClickEventStillReachesTheLatestHandler) {
  show(std::nullopt, minimalProfile());
  runFor(1.0);
  http->failWith({"NSURLErrorDomain", -1009, "The Internet connection appears to be offline."});
  ASSERT_TRUE(center->simulateTap(0, "snooze"));
  std::vector<std::int64_t> replacementClicks;
  manager->setNotificationClickHandler(
      [&](const LumoraAdCreative& creative) { replacementClicks.push_back(creative.bindingId()); });
  runFor(0);
  EXPECT_TRUE(clicks.empty());
  EXPECT_EQ(replacementClicks, std::vector<std::int64_t>{kBindingId});
  EXPECT_EQ(http->jsonBody(1)["eventType"], "click");
  EXPECT_TRUE(tapCompleted());
}

}  // namespace
}  // namespace lumora
