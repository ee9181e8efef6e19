#pragma once

#include <cstdint>
#include <functional>

#include "platform/NotificationCenter.hpp"

namespace lumora {

/// Receives the notification center's presentation and response calls, on a
/// thread of the platform's choosing.
class UserNotificationCenterDelegate {
 public:
  virtual ~UserNotificationCenterDelegate() = default;
  /// A notification is about to be shown while the host is in the foreground;
  /// the completion takes the presentation options (badge 1, sound 2, alert 4).
  virtual void willPresent(const platform::NotificationRequest& notification,
                           std::function<void(std::uint64_t options)> completion) = 0;
  /// The user responded to a notification; the completion must be called exactly once.
  virtual void didReceive(const platform::NotificationResponse& response,
                          std::function<void()> completion) = 0;
};

}  // namespace lumora
