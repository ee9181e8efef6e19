#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "core/net/UserEventWebService.hpp"
#include "core/notify/NotificationDelegate.hpp"
#include "core/notify/UserNotificationCenterProtocol.hpp"
#include "lumora/ClientProfile.hpp"
#include "lumora/LumoraAdBeaconError.hpp"
#include "platform/Clock.hpp"
#include "platform/MainQueue.hpp"
#include "platform/PlatformError.hpp"

namespace lumora {

/// Why a notification was not shown (or not reported): the permission refusal,
/// or an error value from the notification center or the event service.
using NotificationError = std::variant<LumoraAdBeaconError, platform::PlatformError>;

/// The error's text: a library error's message, a platform error's localized description.
std::string localizedDescription(const NotificationError& error);

/// Turns a delivered creative into a local notification one second ahead,
/// reports it as a "notification" event, and owns the delegate that handles
/// taps on it.
///
///   auto manager = NotificationManager::create(events, center, mainQueue, clock);
///   manager->setNotificationClickHandler([](const LumoraAdCreative& c) { ... });
///   manager->showNotification(title, message, data, bindingId, campaignId, creativeId,
///                             profile, spaceId, [](bool shown, auto error) { ... });
///
/// Completions run on the queues of the notification center and the event
/// service. Work still in flight when the manager is released is dropped and
/// its completion is never called.
class NotificationManager : public std::enable_shared_from_this<NotificationManager> {
 public:
  using ShowCompletion = std::function<void(bool success, std::optional<NotificationError> error)>;

  /// Registers the manager's delegate with the center, replacing any earlier one.
  static std::shared_ptr<NotificationManager> create(
      std::shared_ptr<UserEventWebService> eventService,
      std::shared_ptr<UserNotificationCenterProtocol> notificationCenter,
      std::shared_ptr<platform::MainQueue> mainQueue, std::shared_ptr<platform::Clock> clock);

  /// Asks the user for badge, sound and alert permission; passes the answer on.
  void requestPermission(
      std::function<void(bool granted, std::optional<platform::PlatformError> error)> completion);
  /// Whether notifications are authorized (provisional and ephemeral are not).
  void checkPermission(std::function<void(bool authorized)> completion);
  /// Schedules the notification and reports it; the completion gets the
  /// event's outcome, or the first failure on the way. Called at most once.
  void showNotification(const std::string& title, const std::string& message,
                        const std::optional<std::string>& data, std::int64_t bindingId,
                        std::int64_t campaignId, std::int64_t creativeId,
                        const ClientProfile& clientProfile, const std::string& spaceId,
                        ShowCompletion completion);
  /// Replaces the handler that receives the creative of a tapped notification.
  void setNotificationClickHandler(NotificationDelegate::ClickHandler handler);

 private:
  NotificationManager(std::shared_ptr<UserEventWebService> eventService,
                      std::shared_ptr<UserNotificationCenterProtocol> notificationCenter,
                      std::shared_ptr<platform::MainQueue> mainQueue,
                      std::shared_ptr<platform::Clock> clock);

  /// Adds the request; once added, reports the event and answers.
  void addAndReport(const platform::NotificationRequest& request, EventRequest event,
                    ShowCompletion completion);

  const std::shared_ptr<UserNotificationCenterProtocol> notificationCenter_;
  const std::shared_ptr<UserEventWebService> eventService_;
  const std::shared_ptr<NotificationDelegate> notificationDelegate_;
  const std::shared_ptr<platform::Clock> clock_;
};

}  // namespace lumora
