#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>

#include "platform/linux/DbusClient.hpp"
#include "platform/linux/FreedesktopNotificationCenter.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"

namespace lumora::platform {
namespace {

using test::DbusMockHarness;
using test::until;

class RecordingDelegate : public NotificationCenterDelegate {
 public:
  void willPresent(const NotificationRequest& notification,
                   std::function<void(std::uint64_t)> completion) override {
    presented.push_back(notification.identifier);
    completion(presentOptions);
  }
  void didReceive(const NotificationResponse& response, std::function<void()> completion) override {
    responses.push_back(response);
    completion();
  }

  std::uint64_t presentOptions = 7;
  std::vector<std::string> presented;
  std::vector<NotificationResponse> responses;
};

NotificationRequest request(const std::string& identifier, bool sound = true) {
  NotificationRequest result;
  result.identifier = identifier;
  result.title = "Spring sale";
  result.body = "Shoes & bags <50%>";
  result.userInfo = {{"bindingId", std::int64_t{66051}}, {"spaceId", std::string("abcdef")}};
  result.triggerInterval = 0.05;
  result.defaultSound = sound;
  return result;
}

class FreedesktopNotificationCenterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
    bus = std::make_unique<DbusMockHarness>();
    FreedesktopNotificationCenter::Options options;
    options.busAddress = bus->address();
    center = FreedesktopNotificationCenter::create(queue, options);
    center->setDelegate(delegate);
  }
  void startServer(const std::string& parametersJson = "") {
    bus->startTemplate("notification_daemon", DbusMockHarness::kNotifications, parametersJson);
  }
  std::int64_t settings() {
    std::optional<std::int64_t> status;
    center->getNotificationSettings([&](std::int64_t value) { status = value; });
    EXPECT_TRUE(until([&] { return status.has_value(); }));
    return status.value_or(-1);
  }
  std::optional<PlatformError> add(const NotificationRequest& notification) {
    std::optional<std::optional<PlatformError>> result;
    center->add(notification, [&](std::optional<PlatformError> error) { result = error; });
    EXPECT_TRUE(until([&] { return result.has_value(); }));
    return result.value_or(std::nullopt);
  }
  void action(guint32 id, const char* key) {
    bus->notificationSignal("ActionInvoked", id, g_variant_new_string(key));
  }

  std::unique_ptr<DbusMockHarness> bus;
  std::shared_ptr<GLibMainQueue> queue = std::make_shared<GLibMainQueue>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<FreedesktopNotificationCenter> center;
};

TEST_F(FreedesktopNotificationCenterTest, WithoutAServerSettingsAreDeniedAndAddFailsPromptly) {
  EXPECT_EQ(settings(), 1);
  std::optional<bool> granted;
  bool failed = false;
  center->requestAuthorization(7, [&](bool value, std::optional<PlatformError> error) {
    granted = value;
    failed = error.has_value();
  });
  ASSERT_TRUE(until([&] { return granted.has_value(); }));
  EXPECT_FALSE(*granted);
  EXPECT_TRUE(failed);
  auto error = add(request("first"));
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->domain, "org.freedesktop.Notifications");
  EXPECT_FALSE(error->localizedDescription.empty());
}

TEST_F(FreedesktopNotificationCenterTest, ShowsItEscapedAfterItsDelayAndReportsItsActions) {
  startServer();
  EXPECT_EQ(settings(), 2);
  EXPECT_EQ(add(request("tap-me")), std::nullopt);
  ASSERT_TRUE(until([&] { return bus->notifyCalls().size() == 1; }));
  EXPECT_EQ(delegate->presented, std::vector<std::string>{"tap-me"});
  // The mock server lists "body-markup", so markup characters are escaped.
  EXPECT_EQ(bus->notifyCalls().at(0),
            "[<'LumoraBeaconSDK'>, <uint32 0>, <''>, <'Spring sale'>, "
            "<'Shoes &amp; bags &lt;50%&gt;'>, <['default', 'Open']>, <@a{sv} {}>, <-1>]");

  // The mock numbers notifications from 1; id 99 belongs to another application.
  action(99, "default");
  action(1, "default");
  action(1, "snooze");  // any action of ours is a response
  ASSERT_TRUE(until([&] { return delegate->responses.size() == 2; }));
  const auto& response = delegate->responses.front();
  EXPECT_EQ(response.actionIdentifier, "default");
  EXPECT_EQ(response.request.identifier, "tap-me");
  EXPECT_EQ(response.request.title, "Spring sale");
  EXPECT_EQ(response.request.userInfo, request("tap-me").userInfo);
  EXPECT_EQ(delegate->responses.back().actionIdentifier, "snooze");

  // Once closed, the notification is forgotten; a later one still answers.
  EXPECT_EQ(add(request("later")), std::nullopt);
  ASSERT_TRUE(until([&] { return bus->notifyCalls().size() == 2; }));
  bus->notificationSignal("NotificationClosed", 1, g_variant_new_uint32(2));
  action(1, "default");
  action(2, "default");
  ASSERT_TRUE(until([&] { return delegate->responses.size() >= 3; }));
  ASSERT_EQ(delegate->responses.size(), 3u);
  EXPECT_EQ(delegate->responses.back().request.identifier, "later");
}

TEST_F(FreedesktopNotificationCenterTest, PlainBodyAndSoundWhereOfferedAndNothingWithoutAlert) {
  startServer(R"({"capabilities": "body actions sound"})");
  EXPECT_EQ(add(request("plain")), std::nullopt);
  EXPECT_EQ(add(request("silent", false)), std::nullopt);
  ASSERT_TRUE(until([&] { return bus->notifyCalls().size() == 2; }));
  EXPECT_EQ(bus->notifyCalls().at(0),
            "[<'LumoraBeaconSDK'>, <uint32 0>, <''>, <'Spring sale'>, <'Shoes & bags <50%>'>, "
            "<['default', 'Open']>, <{'sound-name': <'message-new-instant'>}>, <-1>]");
  EXPECT_THAT(bus->notifyCalls().at(1), ::testing::HasSubstr("<@a{sv} {}>"))
      << "a request without sound";

  // A presentation without alert (sound only) shows nothing; a later alerting
  // one shows that the first was skipped, not delayed.
  delegate->presentOptions = 2;
  EXPECT_EQ(add(request("quiet")), std::nullopt);
  ASSERT_TRUE(until([&] { return delegate->presented.size() == 3; }));
  delegate->presentOptions = 7;
  EXPECT_EQ(add(request("loud")), std::nullopt);
  ASSERT_TRUE(until([&] { return bus->notifyCalls().size() >= 3; }));
  test::idle(0.2);
  EXPECT_EQ(bus->notifyCalls().size(), 3u);
}

// GLib's sockets would ignore SIGPIPE for the whole host process. In a fresh
// child process, a connection attempt leaves the host's disposition alone.
TEST(DbusClientTest, ConnectingLeavesTheHostsSigpipeDispositionAlone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::signal(SIGPIPE, SIG_DFL);
        std::string failure;
        const auto client = DbusClient::connect(
            G_BUS_TYPE_SESSION, std::string("unix:path=/nonexistent/bus"), &failure);
        struct sigaction action {};
        ::sigaction(SIGPIPE, nullptr, &action);
        std::_Exit(!client && action.sa_handler == SIG_DFL ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace lumora::platform
