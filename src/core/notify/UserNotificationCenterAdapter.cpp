#include "core/notify/UserNotificationCenterAdapter.hpp"

#include <utility>

namespace lumora {
namespace {

// The settings as the platform reports them: its raw authorization status.
class PlatformNotificationSettings : public NotificationSettingsProtocol {
 public:
  explicit PlatformNotificationSettings(std::int64_t rawStatus) : rawStatus_(rawStatus) {}

  NotificationAuthorizationStatus authorizationStatus() const override {
    return static_cast<NotificationAuthorizationStatus>(rawStatus_);
  }

 private:
  std::int64_t rawStatus_;
};

}  // namespace

// Registered with the platform center (which holds it weakly); passes each call
// on to the library delegate while that still exists. A call for a delegate
// that is gone is completed at once, as the platform does for a center
// without a delegate: a presentation shows nothing, a response just ends.
class UserNotificationCenterAdapter::DelegateHandler : public platform::NotificationCenterDelegate {
 public:
  void willPresent(const platform::NotificationRequest& notification,
                   std::function<void(std::uint64_t options)> completion) override {
    if (auto target = target_.lock()) {
      target->willPresent(notification, std::move(completion));
    } else {
      completion(0);
    }
  }

  void didReceive(const platform::NotificationResponse& response,
                  std::function<void()> completion) override {
    if (auto target = target_.lock()) {
      target->didReceive(response, std::move(completion));
    } else {
      completion();
    }
  }

  std::weak_ptr<UserNotificationCenterDelegate> target_;
};

UserNotificationCenterAdapter::UserNotificationCenterAdapter(
    std::shared_ptr<platform::NotificationCenter> notificationCenter)
    : notificationCenter_(std::move(notificationCenter)),
      delegateHandler_(std::make_shared<DelegateHandler>()) {}

std::weak_ptr<UserNotificationCenterDelegate> UserNotificationCenterAdapter::delegate() const {
  if (notificationCenter_->delegate().lock() != delegateHandler_) return {};
  return delegateHandler_->target_;
}

void UserNotificationCenterAdapter::setDelegate(
    std::weak_ptr<UserNotificationCenterDelegate> delegate) {
  delegateHandler_->target_ = std::move(delegate);
  notificationCenter_->setDelegate(delegateHandler_);
}

void UserNotificationCenterAdapter::requestAuthorization(
    std::uint64_t options,
    std::function<void(bool granted, std::optional<platform::PlatformError> error)>
        completionHandler) {
  notificationCenter_->requestAuthorization(options, std::move(completionHandler));
}

void UserNotificationCenterAdapter::getNotificationSettings(
    std::function<void(const NotificationSettingsProtocol& settings)> completionHandler) {
  notificationCenter_->getNotificationSettings(
      [completionHandler = std::move(completionHandler)](std::int64_t status) {
        completionHandler(PlatformNotificationSettings(status));
      });
}

void UserNotificationCenterAdapter::add(
    const platform::NotificationRequest& request,
    std::function<void(std::optional<platform::PlatformError> error)> completionHandler) {
  notificationCenter_->add(request, std::move(completionHandler));
}

}  // namespace lumora
