#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "core/notify/NotificationSettingsProtocol.hpp"
#include "core/notify/UserNotificationCenterDelegate.hpp"
#include "platform/NotificationCenter.hpp"
#include "platform/PlatformError.hpp"

namespace lumora {

/// The notification center as the library uses it, so that the notification
/// logic can run against a substitute. Completions run on a queue of the
/// center's choosing.
class UserNotificationCenterProtocol {
 public:
  virtual ~UserNotificationCenterProtocol() = default;

  /// The center holds its delegate weakly.
  virtual std::weak_ptr<UserNotificationCenterDelegate> delegate() const = 0;
  virtual void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) = 0;
  /// options: badge 1, sound 2, alert 4.
  virtual void requestAuthorization(
      std::uint64_t options,
      std::function<void(bool granted, std::optional<platform::PlatformError> error)>
          completionHandler) = 0;
  virtual void getNotificationSettings(
      std::function<void(const NotificationSettingsProtocol& settings)> completionHandler) = 0;
  virtual void add(
      const platform::NotificationRequest& request,
      std::function<void(std::optional<platform::PlatformError> error)> completionHandler) = 0;
};

}  // namespace lumora
