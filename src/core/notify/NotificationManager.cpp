#include "core/notify/NotificationManager.hpp"

#include <string_view>
#include <utility>

#include "core/net/EventRequest.hpp"
#include "core/notify/NotificationPayloadKeys.hpp"
#include "core/util/LumoraLogger.hpp"
#include "core/util/Uuid.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "NotificationManager";
constexpr std::string_view kCheckPermissionFunction = "checkPermission(completion:)";
constexpr std::string_view kShowNotificationFunction =
    "showNotification(title:message:data:bindingId:campaignId:creativeId:clientProfile:spaceId:"
    "completion:)";
constexpr std::string_view kIdentifierPrefix = "com.lumora.beacon.notification ";
constexpr double kTriggerInterval = 1.0;
constexpr std::uint64_t kRequestedAuthorizationOptions = 1 | 2 | 4;  // badge, sound, alert
constexpr const char* kNotAuthorizedMessage =
    "Notification permission not granted. Please allow notifications in settings.";

using Keys = NotificationPayloadKeys;

void putIfPresent(platform::NotificationUserInfo& userInfo, std::string_view key,
                  const std::optional<std::string>& value) {
  if (value) userInfo.emplace(key, *value);
}

platform::NotificationUserInfo makeUserInfo(const std::optional<std::string>& data,
                                            std::int64_t bindingId, std::int64_t campaignId,
                                            std::int64_t creativeId,
                                            const ClientProfile& clientProfile,
                                            const std::string& spaceId) {
  platform::NotificationUserInfo userInfo{
      {std::string(Keys::campaignId), campaignId},
      {std::string(Keys::creativeId), creativeId},
      {std::string(Keys::bindingId), bindingId},
      {std::string(Keys::spaceId), spaceId},
      {std::string(Keys::clientUUID), clientProfile.getUUID()},
      {std::string(Keys::appName), clientProfile.getAppName()},
  };
  putIfPresent(userInfo, Keys::phoneNumber, clientProfile.getPhoneNumber());
  putIfPresent(userInfo, Keys::email, clientProfile.getEmail());
  putIfPresent(userInfo, Keys::advertisingId, clientProfile.getAdvertisingId());
  putIfPresent(userInfo, Keys::data, data);
  return userInfo;
}

}  // namespace

std::string localizedDescription(const NotificationError& error) {
  if (const auto* libraryError = std::get_if<LumoraAdBeaconError>(&error)) {
    return libraryError->message();
  }
  return std::get<platform::PlatformError>(error).localizedDescription;
}

std::shared_ptr<NotificationManager> NotificationManager::create(
    std::shared_ptr<UserEventWebService> eventService,
    std::shared_ptr<UserNotificationCenterProtocol> notificationCenter,
    std::shared_ptr<platform::MainQueue> mainQueue, std::shared_ptr<platform::Clock> clock) {
  return std::shared_ptr<NotificationManager>(
      new NotificationManager(std::move(eventService), std::move(notificationCenter),
                              std::move(mainQueue), std::move(clock)));
}

NotificationManager::NotificationManager(
    std::shared_ptr<UserEventWebService> eventService,
    std::shared_ptr<UserNotificationCenterProtocol> notificationCenter,
    std::shared_ptr<platform::MainQueue> mainQueue, std::shared_ptr<platform::Clock> clock)
    : notificationCenter_(std::move(notificationCenter)),
      eventService_(std::move(eventService)),
      notificationDelegate_(
          std::make_shared<NotificationDelegate>(eventService_, std::move(mainQueue), clock)),
      clock_(std::move(clock)) {
  notificationCenter_->setDelegate(notificationDelegate_);
}

void NotificationManager::requestPermission(
    std::function<void(bool granted, std::optional<platform::PlatformError> error)> completion) {
  notificationCenter_->requestAuthorization(kRequestedAuthorizationOptions, std::move(completion));
}

void NotificationManager::checkPermission(std::function<void(bool authorized)> completion) {
  notificationCenter_->getNotificationSettings(
      [completion = std::move(completion)](const NotificationSettingsProtocol& settings) {
        const auto status = settings.authorizationStatus();
        const bool authorized = status == NotificationAuthorizationStatus::authorized;
        LUMORA_LOG(LogLevel::debug, kLogFile, kCheckPermissionFunction,
                   "Authorization status: " + std::to_string(static_cast<std::int64_t>(status)) +
                       ", authorized: " + (authorized ? "true" : "false"));
        completion(authorized);
      });
}

void NotificationManager::showNotification(const std::string& title, const std::string& message,
                                           const std::optional<std::string>& data,
                                           std::int64_t bindingId, std::int64_t campaignId,
                                           std::int64_t creativeId,
                                           const ClientProfile& clientProfile,
                                           const std::string& spaceId, ShowCompletion completion) {
  LUMORA_LOG(LogLevel::debug, kLogFile, kShowNotificationFunction,
             "showNotification called with title: '" + title + "', message: '" + message + "'");
  checkPermission([weakSelf = weak_from_this(), title, message, data, bindingId, campaignId,
                   creativeId, clientProfile, spaceId,
                   completion = std::move(completion)](bool authorized) mutable {
    if (!authorized) {
      LUMORA_LOG(LogLevel::warning, kLogFile, kShowNotificationFunction,
                 "Notification permission not authorized");
      completion(false,
                 LumoraAdBeaconError(LumoraAdBeaconErrorType::unauthorizedNotificationPermission,
                                     kNotAuthorizedMessage));
      return;
    }
    LUMORA_LOG(LogLevel::debug, kLogFile, kShowNotificationFunction,
               "Notification permission authorized, creating notification content");
    platform::NotificationRequest request{
        .identifier = std::string(kIdentifierPrefix) + Uuid::random().text(),
        .title = title,
        .body = message,
        .defaultSound = true,
        .userInfo = makeUserInfo(data, bindingId, campaignId, creativeId, clientProfile, spaceId),
        .triggerInterval = kTriggerInterval,
        .repeats = false,
    };
    auto self = weakSelf.lock();
    if (!self) return;
    // The timestamp is taken once the request has been added.
    EventRequest event{.eventType = EventType::notification,
                       .timestamp = 0,
                       .bindingId = bindingId,
                       .clientProfile = clientProfile,
                       .spaceId = spaceId,
                       .campaignId = campaignId,
                       .creativeId = creativeId};
    self->addAndReport(request, std::move(event), std::move(completion));
  });
}

void NotificationManager::addAndReport(const platform::NotificationRequest& request,
                                       EventRequest event, ShowCompletion completion) {
  notificationCenter_->add(request, [weakSelf = weak_from_this(), clock = clock_,
                                     identifier = request.identifier, event = std::move(event),
                                     completion = std::move(completion)](
                                        std::optional<platform::PlatformError> error) mutable {
    if (error) {
      LUMORA_LOG(LogLevel::error, kLogFile, kShowNotificationFunction,
                 "Failed to add notification request: " + error->localizedDescription);
      completion(false, std::move(*error));
      return;
    }
    LUMORA_LOG(LogLevel::info, kLogFile, kShowNotificationFunction,
               "Notification request added successfully with identifier: " + identifier);
    event.timestamp = EventRequest::timestampAt(clock->now());
    auto self = weakSelf.lock();
    if (!self) return;
    self->eventService_->sendEvent(event, [completion = std::move(completion)](
                                              bool success,
                                              std::optional<platform::PlatformError> eventError) {
      if (success) {
        LUMORA_LOG(LogLevel::info, kLogFile, kShowNotificationFunction, "Event sent successfully");
      } else if (eventError) {
        LUMORA_LOG(LogLevel::error, kLogFile, kShowNotificationFunction,
                   "Failed to send event: " + eventError->localizedDescription);
      }
      completion(success, eventError);
    });
  });
}

void NotificationManager::setNotificationClickHandler(NotificationDelegate::ClickHandler handler) {
  notificationDelegate_->setClickHandler(std::move(handler));
}

}  // namespace lumora
