#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "core/net/UserEventWebService.hpp"
#include "core/notify/UserNotificationCenterDelegate.hpp"
#include "lumora/LumoraAdCreative.hpp"
#include "platform/Clock.hpp"
#include "platform/MainQueue.hpp"

namespace lumora {

/// Receives the notification center's calls for the notification manager: lets
/// every foreground notification be shown, and turns a tap on a library
/// notification into a "click" event and a creative for the click handler.
/// Hold it in a std::shared_ptr (a tap keeps it alive until its event is answered).
class NotificationDelegate : public UserNotificationCenterDelegate,
                             public std::enable_shared_from_this<NotificationDelegate> {
 public:
  using ClickHandler = std::function<void(const LumoraAdCreative& creative)>;

  /// Presentation options for every foreground notification: badge, sound and alert.
  static constexpr std::uint64_t kPresentationOptions = 1 | 2 | 4;

  /// clock: event timestamps; mainQueue: where the click handler and the
  /// platform's completion run.
  NotificationDelegate(std::shared_ptr<UserEventWebService> eventService,
                       std::shared_ptr<platform::MainQueue> mainQueue,
                       std::shared_ptr<platform::Clock> clock);

  /// Replaces the handler; the one in force when a tap is delivered is called.
  void setClickHandler(ClickHandler handler);

  void willPresent(const platform::NotificationRequest& notification,
                   std::function<void(std::uint64_t options)> completion) override;
  /// A response whose payload lacks the library's keys is completed at once
  /// and otherwise ignored. Any other response reports a click, then (on the
  /// main queue) hands the creative to the click handler and completes.
  void didReceive(const platform::NotificationResponse& response,
                  std::function<void()> completion) override;

 private:
  const std::shared_ptr<UserEventWebService> eventService_;
  ClickHandler clickHandler_;
  const std::shared_ptr<platform::MainQueue> mainQueue_;
  const std::shared_ptr<platform::Clock> clock_;
};

}  // namespace lumora
