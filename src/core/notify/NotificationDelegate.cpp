#include "core/notify/NotificationDelegate.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/net/EventRequest.hpp"
#include "core/notify/NotificationPayloadKeys.hpp"
#include "core/util/LumoraLogger.hpp"
#include "lumora/ClientProfile.hpp"

namespace lumora {
namespace {

// The delegate works on behalf of the notification manager and logs under its name.
constexpr std::string_view kLogFile = "NotificationManager";

using Keys = NotificationPayloadKeys;

// The value under key when it has the expected type; nothing otherwise.
template <typename T>
std::optional<T> valueOf(const platform::NotificationUserInfo& userInfo, std::string_view key) {
  const auto found = userInfo.find(std::string(key));
  if (found == userInfo.end()) return std::nullopt;
  if (const auto* value = std::get_if<T>(&found->second)) return *value;
  return std::nullopt;
}

// What a tap on a library notification carries back.
struct TappedPayload {
  std::int64_t bindingId;
  std::int64_t campaignId;
  std::int64_t creativeId;
  std::string appName;
  std::string data;
  std::string spaceId;
  std::optional<std::string> phoneNumber;
  std::optional<std::string> email;
  std::optional<std::string> advertisingId;
};

// Nothing when a required key is missing or of another type: the
// notification is not one of the library's.
std::optional<TappedPayload> readPayload(const platform::NotificationUserInfo& userInfo) {
  const auto bindingId = valueOf<std::int64_t>(userInfo, Keys::bindingId);
  const auto campaignId = valueOf<std::int64_t>(userInfo, Keys::campaignId);
  const auto creativeId = valueOf<std::int64_t>(userInfo, Keys::creativeId);
  const auto appName = valueOf<std::string>(userInfo, Keys::appName);
  if (!bindingId || !campaignId || !creativeId || !appName) return std::nullopt;
  return TappedPayload{*bindingId,
                       *campaignId,
                       *creativeId,
                       *appName,
                       valueOf<std::string>(userInfo, Keys::data).value_or(""),
                       valueOf<std::string>(userInfo, Keys::spaceId).value_or(""),
                       valueOf<std::string>(userInfo, Keys::phoneNumber),
                       valueOf<std::string>(userInfo, Keys::email),
                       valueOf<std::string>(userInfo, Keys::advertisingId)};
}

}  // namespace

NotificationDelegate::NotificationDelegate(std::shared_ptr<UserEventWebService> eventService,
                                           std::shared_ptr<platform::MainQueue> mainQueue,
                                           std::shared_ptr<platform::Clock> clock)
    : eventService_(std::move(eventService)),
      mainQueue_(std::move(mainQueue)),
      clock_(std::move(clock)) {}

void NotificationDelegate::setClickHandler(ClickHandler handler) {
  clickHandler_ = std::move(handler);
}

void NotificationDelegate::willPresent(const platform::NotificationRequest& /*notification*/,
                                       std::function<void(std::uint64_t options)> completion) {
  LUMORA_LOG(LogLevel::debug, kLogFile,
             "userNotificationCenter(_:willPresent:withCompletionHandler:)",
             "willPresent notification called - showing notification in foreground");
  completion(kPresentationOptions);
}

void NotificationDelegate::didReceive(const platform::NotificationResponse& response,
                                      std::function<void()> completion) {
  auto payload = readPayload(response.request.userInfo);
  if (!payload) {
    completion();
    return;
  }
  ClientProfile profile(payload->phoneNumber, payload->email, payload->appName,
                        payload->advertisingId);
  const EventRequest event{.eventType = EventType::click,
                           .timestamp = EventRequest::timestampAt(clock_->now()),
                           .bindingId = payload->bindingId,
                           .clientProfile = std::move(profile),
                           .spaceId = payload->spaceId,
                           .campaignId = payload->campaignId,
                           .creativeId = payload->creativeId};
  // The delegate stays alive until the event is answered; from then on it is
  // held weakly, so a delegate whose manager is gone drops the creative.
  eventService_->sendEvent(event, [self = shared_from_this(), payload = std::move(*payload),
                                   completion = std::move(completion)](
                                      bool, const std::optional<platform::PlatformError>&) mutable {
    const auto mainQueue = self->mainQueue_;
    const std::weak_ptr<NotificationDelegate> weakSelf = std::exchange(self, nullptr);
    mainQueue->post([weakSelf, payload = std::move(payload), completion = std::move(completion)] {
      const LumoraAdCreative creative(payload.data, payload.creativeId, payload.bindingId,
                                      payload.campaignId, payload.spaceId);
      if (auto delegate = weakSelf.lock(); delegate && delegate->clickHandler_) {
        delegate->clickHandler_(creative);
      }
      completion();
    });
  });
}

}  // namespace lumora
