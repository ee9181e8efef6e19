#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "core/net/HttpRequestSender.hpp"
#include "core/net/UserEventWebService.hpp"
#include "core/notify/NotificationManager.hpp"
#include "core/notify/UserNotificationCenterAdapter.hpp"
#include "support/RecordingHttpSession.hpp"
#include "support/SimWorld.hpp"

namespace lumora::testing {

/// A notification manager on a sim notification center (notifications
/// authorized) whose events go to a recording HTTP session answering 200.
class NotificationFixture : public SimWorld {
 protected:
  static constexpr const char* kNoTrackingURL = "https://events.example/open";
  static constexpr std::int64_t kBindingId = 0x123456;
  static constexpr std::int64_t kCampaignId = 12;
  static constexpr std::int64_t kCreativeId = 345;
  static constexpr const char* kSpaceId = "0123456789abcdef";

  /// What a showNotification completion received, if it was called.
  struct Outcome {
    bool called = false;
    bool success = false;
    std::optional<NotificationError> error;
  };

  NotificationFixture() : SimWorld(installed()) {}

  static ClientProfile minimalProfile() {
    return ClientProfile(std::nullopt, std::nullopt, "Shop", std::nullopt);
  }

  /// Shows a notification with the fixture's identifiers; the outcome fills in
  /// when the completion runs.
  std::shared_ptr<Outcome> show(const std::optional<std::string>& data,
                                const ClientProfile& profile) {
    auto outcome = std::make_shared<Outcome>();
    manager->showNotification("Sale", "20% off today", data, kBindingId, kCampaignId, kCreativeId,
                              profile, kSpaceId,
                              [outcome](bool success, std::optional<NotificationError> error) {
                                *outcome = {true, success, std::move(error)};
                              });
    return outcome;
  }

  const std::shared_ptr<platform::SimNotificationCenter> center = phone.notifications;
  std::shared_ptr<RecordingHttpSession> http =
      std::make_shared<RecordingHttpSession>(platform->virtualQueue);
  std::shared_ptr<UserEventWebService> eventService = std::make_shared<UserEventWebService>(
      APIConfiguration(Environment::stage, "https://events.example/tracked", kNoTrackingURL,
                       "cdn.example", "bucket"),
      std::make_shared<HttpRequestSender>(http), platform->urls, std::nullopt);
  std::shared_ptr<UserNotificationCenterAdapter> adapter =
      std::make_shared<UserNotificationCenterAdapter>(center);
  std::shared_ptr<NotificationManager> manager = NotificationManager::create(
      eventService, adapter, platform->virtualQueue, platform->virtualClock);
};

}  // namespace lumora::testing
