#include "platform/sim/SimNotificationCenter.hpp"

#include <utility>

namespace lumora::platform {

SimNotificationCenter::SimNotificationCenter(std::shared_ptr<MainQueue> mainQueue,
                                             std::shared_ptr<Clock> clock)
    : mainQueue_(std::move(mainQueue)), clock_(std::move(clock)) {}

void SimNotificationCenter::setDelegate(std::weak_ptr<NotificationCenterDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

std::weak_ptr<NotificationCenterDelegate> SimNotificationCenter::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_;
}

void SimNotificationCenter::requestAuthorization(
    std::uint64_t options,
    std::function<void(bool granted, std::optional<PlatformError> error)> completion) {
  bool granted = false;
  std::optional<PlatformError> error;
  {
    std::lock_guard lock(mutex_);
    requestedOptions_.push_back(options);
    granted = authorizationGranted_ && !authorizationError_;
    error = authorizationError_;
    if (authorizationStatus_ == kNotDetermined && !error) {
      authorizationStatus_ = granted ? kAuthorized : kDenied;
    }
  }
  mainQueue_->post([completion = std::move(completion), granted, error = std::move(error)] {
    completion(granted, error);
  });
}

void SimNotificationCenter::getNotificationSettings(
    std::function<void(std::int64_t status)> completion) {
  const auto status = authorizationStatus();
  mainQueue_->post([completion = std::move(completion), status] { completion(status); });
}

void SimNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<PlatformError> error)> completion) {
  std::optional<PlatformError> error;
  std::optional<AddedNotification> added;
  std::size_t index = 0;
  AddObserver observer;
  {
    std::lock_guard lock(mutex_);
    error = addError_;
    if (!error) {
      index = added_.size();
      added_.push_back({request, clock_->now()});
      added = added_.back();
      observer = addObserver_;
    }
  }
  if (added) {
    mainQueue_->scheduleTimer(request.triggerInterval, request.repeats,
                              [weakSelf = weak_from_this(), index](Timer&) {
                                if (auto self = weakSelf.lock()) self->deliver(index);
                              });
    if (observer) observer(*added);
  }
  mainQueue_->post(
      [completion = std::move(completion), error = std::move(error)] { completion(error); });
}

void SimNotificationCenter::deliver(std::size_t index) {
  std::size_t deliveryIndex = 0;
  NotificationRequest request;
  std::shared_ptr<NotificationCenterDelegate> delegate;
  {
    std::lock_guard lock(mutex_);
    deliveryIndex = delivered_.size();
    delivered_.push_back({index, clock_->now(), std::nullopt});
    request = added_[index].request;
    delegate = delegate_.lock();
  }
  if (!delegate) return;
  delegate->willPresent(request,
                        [weakSelf = weak_from_this(), deliveryIndex](std::uint64_t options) {
                          auto self = weakSelf.lock();
                          if (!self) return;
                          std::lock_guard lock(self->mutex_);
                          self->delivered_[deliveryIndex].presentationOptions = options;
                        });
}

bool SimNotificationCenter::isDelivered(std::size_t index) const {
  for (const auto& delivery : delivered_) {
    if (delivery.index == index) return true;
  }
  return false;
}

bool SimNotificationCenter::simulateTap(std::size_t index, const std::string& actionIdentifier) {
  NotificationResponse response;
  std::size_t tapIndex = 0;
  std::shared_ptr<NotificationCenterDelegate> delegate;
  {
    std::lock_guard lock(mutex_);
    if (index >= added_.size() || !isDelivered(index)) return false;
    response = {added_[index].request, actionIdentifier};
    tapIndex = taps_.size();
    taps_.push_back({index, clock_->now(), std::nullopt});
    delegate = delegate_.lock();
  }
  if (!delegate) return true;
  delegate->didReceive(response, [weakSelf = weak_from_this(), tapIndex] {
    auto self = weakSelf.lock();
    if (!self) return;
    const auto now = self->clock_->now();
    std::lock_guard lock(self->mutex_);
    self->taps_[tapIndex].completedAt = now;
  });
  return true;
}

void SimNotificationCenter::setAuthorizationStatus(std::int64_t status) {
  std::lock_guard lock(mutex_);
  authorizationStatus_ = status;
}

void SimNotificationCenter::setAuthorizationAnswer(bool granted,
                                                   std::optional<PlatformError> error) {
  std::lock_guard lock(mutex_);
  authorizationGranted_ = granted;
  authorizationError_ = std::move(error);
}

void SimNotificationCenter::setAddError(std::optional<PlatformError> error) {
  std::lock_guard lock(mutex_);
  addError_ = std::move(error);
}

void SimNotificationCenter::setAddObserver(AddObserver observer) {
  std::lock_guard lock(mutex_);
  addObserver_ = std::move(observer);
}

std::int64_t SimNotificationCenter::authorizationStatus() const {
  std::lock_guard lock(mutex_);
  return authorizationStatus_;
}

std::vector<std::uint64_t> SimNotificationCenter::requestedAuthorizationOptions() const {
  std::lock_guard lock(mutex_);
  return requestedOptions_;
}

std::vector<SimNotificationCenter::AddedNotification> SimNotificationCenter::added() const {
  std::lock_guard lock(mutex_);
  return added_;
}

std::vector<SimNotificationCenter::DeliveredNotification> SimNotificationCenter::delivered() const {
  std::lock_guard lock(mutex_);
  return delivered_;
}

std::vector<SimNotificationCenter::Tap> SimNotificationCenter::taps() const {
  std::lock_guard lock(mutex_);
  return taps_;
}

}  // namespace lumora::platform
