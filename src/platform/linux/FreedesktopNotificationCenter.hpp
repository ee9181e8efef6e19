#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/MainQueue.hpp"
#include "platform/NotificationCenter.hpp"
#include "platform/linux/DbusClient.hpp"
#include "platform/linux/ShownNotifications.hpp"

namespace lumora::platform {

/// Local notifications through the desktop's notification server
/// (org.freedesktop.Notifications on the session bus).
///
/// Authorization: there is no per-application permission on the desktop, so
/// the status is authorized (2) when a notification server answers
/// GetCapabilities within the call timeout, and denied (1) when none does (no
/// server, no session bus): notifications cannot be shown then, and asking
/// again would not change that. A missing server is answered promptly, never
/// waited for beyond the timeout.
///
/// add() checks for a server at once (its completion reports an error when
/// there is none), then waits the trigger's interval on a main-queue timer,
/// asks the delegate's willPresent (shown when the options include alert, 4),
/// and calls Notify with the title as summary, the body (markup-escaped when
/// the server renders "body-markup"), one "default" action labelled "Open",
/// and, for a request with the default sound where the server plays sounds
/// ("sound"), the sound hint "sound-name" "message-new-instant". ActionInvoked
/// for a notification we sent, whatever its action key, reaches the
/// delegate's didReceive with the original request; NotificationClosed
/// forgets it.
///
/// Every completion and delegate call runs on the main queue. Any thread.
class FreedesktopNotificationCenter
    : public NotificationCenter,
      public std::enable_shared_from_this<FreedesktopNotificationCenter> {
 public:
  struct Options {
    /// A D-Bus address to use instead of the session bus (tests use a private bus).
    std::optional<std::string> busAddress;
    int callTimeoutMs = 2000;
  };

  static std::shared_ptr<FreedesktopNotificationCenter> create(std::shared_ptr<MainQueue> mainQueue,
                                                               Options options);

  void setDelegate(std::weak_ptr<NotificationCenterDelegate> delegate) override;
  std::weak_ptr<NotificationCenterDelegate> delegate() const override;
  void requestAuthorization(
      std::uint64_t options,
      std::function<void(bool granted, std::optional<PlatformError> error)> completion) override;
  void getNotificationSettings(std::function<void(std::int64_t status)> completion) override;
  void add(const NotificationRequest& request,
           std::function<void(std::optional<PlatformError> error)> completion) override;

 private:
  using ProbeResult = std::function<void(std::optional<PlatformError> unavailable)>;

  FreedesktopNotificationCenter(std::shared_ptr<MainQueue> mainQueue, Options options);
  void connect();
  /// On the main queue: asks the server for its capabilities.
  void probe(ProbeResult result);
  void onMain(std::function<void(FreedesktopNotificationCenter&)> work);
  void deliver(const NotificationRequest& request);
  void notify(const NotificationRequest& request);
  void onActionInvoked(GVariant* parameters);
  void onClosed(GVariant* parameters);

  const std::shared_ptr<MainQueue> mainQueue_;
  const Options options_;
  std::string connectFailure_;
  std::unique_ptr<DbusClient> bus_;  // absent when the session bus was unreachable
  mutable std::mutex delegateMutex_;
  std::weak_ptr<NotificationCenterDelegate> delegate_;
  // Main queue only:
  bool bodyMarkup_ = false;
  bool sound_ = false;
  ShownNotifications shown_;
};

}  // namespace lumora::platform
