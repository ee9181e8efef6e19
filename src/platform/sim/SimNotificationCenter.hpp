#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.hpp"
#include "platform/MainQueue.hpp"
#include "platform/NotificationCenter.hpp"

namespace lumora::platform {

/// A notification center whose user is a script. Authorization is whatever the
/// script says (and may change at any time); added requests are kept, shown
/// after their trigger interval through the delegate's willPresent (as for an
/// app in the foreground) and can be tapped.
///
/// The completions of getNotificationSettings, requestAuthorization and add
/// always run as tasks posted to the main queue, never inline: the main queue
/// is the platform queue this center chooses for its answers. Delegate calls
/// are made on the main queue too (deliveries fire as main-queue timers;
/// simulateTap calls didReceive on the caller's thread).
///
/// Hold it in a std::shared_ptr: deliveries scheduled by a center that is gone
/// are dropped.
///
///   auto center = std::make_shared<SimNotificationCenter>(queue, clock);
///   center->setAuthorizationStatus(SimNotificationCenter::kAuthorized);
///   ...                                  // the library adds a request
///   queue->runFor(1.0);                  // delivered: willPresent was called
///   center->simulateTap(0);              // didReceive with the first request
class SimNotificationCenter : public NotificationCenter,
                              public std::enable_shared_from_this<SimNotificationCenter> {
 public:
  static constexpr std::int64_t kNotDetermined = 0;
  static constexpr std::int64_t kDenied = 1;
  static constexpr std::int64_t kAuthorized = 2;
  /// The action of a plain tap on the notification.
  static constexpr const char* kDefaultActionIdentifier =
      "com.apple.UNNotificationDefaultActionIdentifier";

  /// One request as it was added.
  struct AddedNotification {
    NotificationRequest request;
    TimePoint addedAt;
  };
  /// One request shown to the user, with the options the delegate chose (none
  /// while its willPresent completion has not been called).
  struct DeliveredNotification {
    std::size_t index;  // into added()
    TimePoint deliveredAt;
    std::optional<std::uint64_t> presentationOptions;
  };
  /// One tap, and when the delegate called the response's completion.
  struct Tap {
    std::size_t index;  // into added()
    TimePoint tappedAt;
    std::optional<TimePoint> completedAt;
  };
  using AddObserver = std::function<void(const AddedNotification&)>;

  SimNotificationCenter(std::shared_ptr<MainQueue> mainQueue, std::shared_ptr<Clock> clock);

  void setDelegate(std::weak_ptr<NotificationCenterDelegate> delegate) override;
  std::weak_ptr<NotificationCenterDelegate> delegate() const override;
  /// Answers with the scripted answer; a user who had not decided yet
  /// (not determined) becomes authorized or denied by that answer.
  void requestAuthorization(
      std::uint64_t options,
      std::function<void(bool granted, std::optional<PlatformError> error)> completion) override;
  void getNotificationSettings(std::function<void(std::int64_t status)> completion) override;
  /// Records the request and schedules its delivery, or answers the scripted
  /// error and records nothing.
  void add(const NotificationRequest& request,
           std::function<void(std::optional<PlatformError> error)> completion) override;

  // Script.
  /// Raw status: 0 notDetermined, 1 denied, 2 authorized, 3 provisional, 4 ephemeral.
  void setAuthorizationStatus(std::int64_t status);
  void setAuthorizationAnswer(bool granted, std::optional<PlatformError> error = std::nullopt);
  /// While set, every add fails with this error.
  void setAddError(std::optional<PlatformError> error);
  /// Called (on the thread that adds) for each request added successfully.
  void setAddObserver(AddObserver observer);
  /// The user taps the index-th added request (or one of its actions): its
  /// delegate receives a response with that action. False (and nothing
  /// happens) when there is no such request or it has not been delivered yet.
  bool simulateTap(std::size_t index,
                   const std::string& actionIdentifier = kDefaultActionIdentifier);

  // Inspection.
  std::int64_t authorizationStatus() const;
  std::vector<std::uint64_t> requestedAuthorizationOptions() const;
  std::vector<AddedNotification> added() const;
  std::vector<DeliveredNotification> delivered() const;
  std::vector<Tap> taps() const;

 private:
  void deliver(std::size_t index);
  bool isDelivered(std::size_t index) const;

  const std::shared_ptr<MainQueue> mainQueue_;
  const std::shared_ptr<Clock> clock_;
  mutable std::mutex mutex_;
  std::weak_ptr<NotificationCenterDelegate> delegate_;
  std::int64_t authorizationStatus_ = kNotDetermined;
  bool authorizationGranted_ = true;
  std::optional<PlatformError> authorizationError_;
  std::optional<PlatformError> addError_;
  AddObserver addObserver_;
  std::vector<std::uint64_t> requestedOptions_;
  std::vector<AddedNotification> added_;
  std::vector<DeliveredNotification> delivered_;
  std::vector<Tap> taps_;
};

}  // namespace lumora::platform
