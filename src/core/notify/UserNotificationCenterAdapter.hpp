#pragma once

#include <memory>

#include "core/notify/UserNotificationCenterProtocol.hpp"
#include "platform/NotificationCenter.hpp"

namespace lumora {

/// The library's notification center on top of the platform's. Every call is
/// forwarded as it is; the platform's delegate calls reach the library's
/// delegate through a small handler that this adapter owns and registers.
class UserNotificationCenterAdapter : public UserNotificationCenterProtocol {
 public:
  explicit UserNotificationCenterAdapter(
      std::shared_ptr<platform::NotificationCenter> notificationCenter);

  /// The library delegate, while the platform center's delegate is still this
  /// adapter's handler; nothing once something else has replaced it.
  std::weak_ptr<UserNotificationCenterDelegate> delegate() const override;
  void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) override;
  void requestAuthorization(
      std::uint64_t options,
      std::function<void(bool granted, std::optional<platform::PlatformError> error)>
          completionHandler) override;
  void getNotificationSettings(
      std::function<void(const NotificationSettingsProtocol& settings)> completionHandler) override;
  void add(
      const platform::NotificationRequest& request,
      std::function<void(std::optional<platform::PlatformError> error)> completionHandler) override;

 private:
  class DelegateHandler;

  const std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  const std::shared_ptr<DelegateHandler> delegateHandler_;
};

}  // namespace lumora
