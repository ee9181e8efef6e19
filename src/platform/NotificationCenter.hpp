#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/PlatformError.hpp"

namespace lumora::platform {

using NotificationValue = std::variant<std::int64_t, std::string>;
using NotificationUserInfo = std::map<std::string, NotificationValue>;

/// A local notification request with a one-shot (or repeating) time trigger.
struct NotificationRequest {
  std::string identifier;
  std::string title;
  std::string body;
  bool defaultSound = true;
  NotificationUserInfo userInfo;
  double triggerInterval = 0;
  bool repeats = false;
};

/// The user's response to a delivered notification.
struct NotificationResponse {
  NotificationRequest request;
  std::string actionIdentifier;
};

/// Receives presentation and response calls, on a thread of the platform's choosing.
class NotificationCenterDelegate {
 public:
  virtual ~NotificationCenterDelegate() = default;
  /// options: badge 1, sound 2, alert 4.
  virtual void willPresent(const NotificationRequest& notification,
                           std::function<void(std::uint64_t options)> completion) = 0;
  virtual void didReceive(const NotificationResponse& response,
                          std::function<void()> completion) = 0;
};

/// The local notification center. Completions run on a queue of the platform's choosing.
class NotificationCenter {
 public:
  virtual ~NotificationCenter() = default;
  /// The center holds its delegate weakly.
  virtual void setDelegate(std::weak_ptr<NotificationCenterDelegate> delegate) = 0;
  virtual std::weak_ptr<NotificationCenterDelegate> delegate() const = 0;
  /// options: badge 1, sound 2, alert 4.
  virtual void requestAuthorization(
      std::uint64_t options,
      std::function<void(bool granted, std::optional<PlatformError> error)> completion) = 0;
  /// Raw status: 0 notDetermined, 1 denied, 2 authorized, 3 provisional, 4 ephemeral.
  virtual void getNotificationSettings(std::function<void(std::int64_t status)> completion) = 0;
  virtual void add(const NotificationRequest& request,
                   std::function<void(std::optional<PlatformError> error)> completion) = 0;
};

}  // namespace lumora::platform
