#include <gtest/gtest.h>

#include <memory>

#include "platform/linux/FreedesktopNotificationCenter.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"

namespace lumora::platform {
namespace {

using test::DbusMockHarness;

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";

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

NotificationRequest request(const std::string& identifier) {
  NotificationRequest result;
  result.identifier = identifier;
  result.title = "Spring sale";
  result.body = "Shoes & bags <50%>";
  result.userInfo = {{"bindingId", std::int64_t{66051}}, {"spaceId", std::string("abcdef")}};
  result.triggerInterval = 0.05;
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

  std::int64_t settings() {
    std::optional<std::int64_t> status;
    center->getNotificationSettings([&](std::int64_t value) { status = value; });
    EXPECT_TRUE(DbusMockHarness::iterateUntil([&] { return status.has_value(); }));
    return status.value_or(-1);
  }
  std::optional<PlatformError> add(const NotificationRequest& notification) {
    bool done = false;
    std::optional<PlatformError> result;
    center->add(notification, [&](std::optional<PlatformError> error) {
      result = std::move(error);
      done = true;
    });
    EXPECT_TRUE(DbusMockHarness::iterateUntil([&] { return done; }));
    return result;
  }
  std::size_t notifyCount() { return bus->callCount(kName, kPath, "Notify"); }
  /// Argument `index` of the `call`th Notify call the server saw.
  DbusMockHarness::VariantPtr notifyArgument(std::size_t call, gsize index) {
    const auto calls = bus->callArguments(kName, kPath, "Notify");
    GVariant* boxed = g_variant_get_child_value(calls.at(call).get(), index);
    GVariant* value = g_variant_get_variant(boxed);
    g_variant_unref(boxed);
    return DbusMockHarness::VariantPtr(value, &g_variant_unref);
  }
  std::string notifyString(std::size_t call, gsize index) {
    return g_variant_get_string(notifyArgument(call, index).get(), nullptr);
  }

  std::unique_ptr<DbusMockHarness> bus;
  std::shared_ptr<GLibMainQueue> queue = std::make_shared<GLibMainQueue>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<FreedesktopNotificationCenter> center;
};

TEST_F(FreedesktopNotificationCenterTest, WithoutAServerSettingsAreDeniedAndAddFailsPromptly) {
  EXPECT_EQ(settings(), 1);
  bool answered = false;
  std::optional<bool> granted;
  center->requestAuthorization(7, [&](bool value, std::optional<PlatformError> error) {
    granted = value;
    answered = error.has_value();
  });
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return granted.has_value(); }));
  EXPECT_FALSE(*granted);
  EXPECT_TRUE(answered);
  auto error = add(request("first"));
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->domain, "org.freedesktop.Notifications");
  EXPECT_FALSE(error->localizedDescription.empty());
}

TEST_F(FreedesktopNotificationCenterTest,
       ShowsTheNotificationAfterItsDelayWithEscapedBodyAndOpenAction) {
  bus->startTemplate("notification_daemon", kName);
  EXPECT_EQ(settings(), 2);
  EXPECT_EQ(add(request("first")), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return notifyCount() == 1; }));
  EXPECT_EQ(delegate->presented, std::vector<std::string>{"first"});

  EXPECT_EQ(notifyString(0, 0), "LumoraBeaconSDK");
  EXPECT_EQ(g_variant_get_uint32(notifyArgument(0, 1).get()), 0u);
  EXPECT_EQ(notifyString(0, 2), "");
  EXPECT_EQ(notifyString(0, 3), "Spring sale");
  // The mock server lists "body-markup", so markup characters are escaped.
  EXPECT_EQ(notifyString(0, 4), "Shoes &amp; bags &lt;50%&gt;");
  gsize count = 0;
  const auto actionList = notifyArgument(0, 5);  // the strings below live in it
  const gchar** actions = g_variant_get_strv(actionList.get(), &count);
  ASSERT_EQ(count, 2u);
  EXPECT_STREQ(actions[0], "default");
  EXPECT_STREQ(actions[1], "Open");
  g_free(actions);
  EXPECT_EQ(g_variant_n_children(notifyArgument(0, 6).get()), 0u);
  EXPECT_EQ(g_variant_get_int32(notifyArgument(0, 7).get()), -1);
}

TEST_F(FreedesktopNotificationCenterTest, PlainBodyAndTheMessageSoundWhereTheServerOffersThem) {
  bus->startTemplate("notification_daemon", kName, R"({"capabilities": "body actions sound"})");
  EXPECT_EQ(add(request("plain")), std::nullopt);
  auto silent = request("silent");
  silent.defaultSound = false;
  EXPECT_EQ(add(silent), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return notifyCount() == 2; }));
  EXPECT_EQ(notifyString(0, 4), "Shoes & bags <50%>");
  const gchar* sound = nullptr;
  const auto hints = notifyArgument(0, 6);  // `sound` points into it
  EXPECT_TRUE(g_variant_lookup(hints.get(), "sound-name", "&s", &sound));
  EXPECT_STREQ(sound, "message-new-instant");
  EXPECT_EQ(g_variant_n_children(notifyArgument(1, 6).get()), 0u) << "a request without sound";
}

TEST_F(FreedesktopNotificationCenterTest, PresentationWithoutAlertShowsNothing) {
  bus->startTemplate("notification_daemon", kName);
  delegate->presentOptions = 2;  // sound only
  EXPECT_EQ(add(request("silent")), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return !delegate->presented.empty(); }));
  // A second, alerting notification shows that the first one was skipped, not delayed.
  delegate->presentOptions = 7;
  EXPECT_EQ(add(request("loud")), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return notifyCount() >= 1; }));
  DbusMockHarness::idle(0.2);
  EXPECT_EQ(notifyCount(), 1u);
}

TEST_F(FreedesktopNotificationCenterTest, ActionInvokedOnOurNotificationReachesTheDelegate) {
  bus->startTemplate("notification_daemon", kName);
  EXPECT_EQ(add(request("tap-me")), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return notifyCount() == 1; }));
  // The mock numbers notifications from 1; id 99 belongs to another application.
  const auto emit = [&](const char* signal, const char* signature, GVariant* second, guint32 id) {
    bus->emitSignal(kName, kPath, kName, signal, signature, {g_variant_new_uint32(id), second});
  };
  const auto action = [&](guint32 id, const char* key) {
    emit("ActionInvoked", "us", g_variant_new_string(key), id);
  };
  action(99, "default");
  action(1, "default");
  action(1, "snooze");  // any action of ours is a response
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return delegate->responses.size() == 2; }));
  const auto& response = delegate->responses.front();
  EXPECT_EQ(response.actionIdentifier, "default");
  EXPECT_EQ(response.request.identifier, "tap-me");
  EXPECT_EQ(response.request.title, "Spring sale");
  EXPECT_EQ(response.request.userInfo, request("tap-me").userInfo);
  EXPECT_EQ(delegate->responses.back().actionIdentifier, "snooze");

  // Once closed, the notification is forgotten; a later one still answers.
  EXPECT_EQ(add(request("later")), std::nullopt);
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return notifyCount() == 2; }));
  emit("NotificationClosed", "uu", g_variant_new_uint32(2), 1);
  action(1, "default");
  action(2, "default");
  ASSERT_TRUE(DbusMockHarness::iterateUntil([&] { return delegate->responses.size() >= 3; }));
  ASSERT_EQ(delegate->responses.size(), 3u);
  EXPECT_EQ(delegate->responses.back().request.identifier, "later");
}

}  // namespace
}  // namespace lumora::platform
