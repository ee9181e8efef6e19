#include "core/notify/NotificationDelegate.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/net/EventRequest.hpp"
#include "core/notify/TappedPayload.hpp"
#include "core/util/LumoraLogger.hpp"
#include "lumora/ClientProfile.hpp"

namespace lumora {
namespace {

// The delegate works on behalf of the notification manager and logs under its name.
constexpr std::string_view kLogFile = "NotificationManager";

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
  auto payload = TappedPayload::read(response.request.userInfo);
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
