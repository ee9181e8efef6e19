#include "core/net/UserEventWebService.hpp"

#include <utility>

namespace lumora {
namespace {

std::shared_ptr<const ClientProfile> shared(std::optional<ClientProfile> profile) {
  return profile ? std::make_shared<const ClientProfile>(std::move(*profile)) : nullptr;
}

}  // namespace

UserEventWebService::UserEventWebService(APIConfiguration apiConfig,
                                         std::shared_ptr<HttpRequestSender> requestSender,
                                         std::shared_ptr<const platform::UrlToolkit> urls,
                                         std::optional<ClientProfile> clientProfile)
    : AbstractWebService(std::move(apiConfig), std::move(requestSender), std::move(urls)),
      clientProfile_(shared(std::move(clientProfile))) {}

void UserEventWebService::setClientProfile(std::optional<ClientProfile> clientProfile) {
  auto replacement = shared(std::move(clientProfile));
  std::lock_guard lock(profileMutex_);
  clientProfile_.swap(replacement);  // the old profile is freed after the lock is released
}

std::shared_ptr<const ClientProfile> UserEventWebService::currentProfile() const {
  std::lock_guard lock(profileMutex_);
  return clientProfile_;
}

std::optional<ClientProfile> UserEventWebService::getClientProfile() const {
  const auto profile = currentProfile();
  return profile ? std::optional<ClientProfile>(*profile) : std::nullopt;
}

std::string UserEventWebService::getClientUUID() const {
  const auto profile = currentProfile();
  return profile ? profile->getUUID() : std::string();
}

std::string UserEventWebService::eventURL() const {
  const auto profile = currentProfile();
  const bool tracking = profile && profile->getAdvertisingId().has_value();
  return tracking ? apiConfig().getTrackingEventURL() : apiConfig().getNoTrackingEventURL();
}

void UserEventWebService::sendEvent(const EventRequest& request, Completion completion) const {
  auto built = buildRequest(eventURL(), "device_events", HttpMethod::post, {}, {},
                            request.toBodyParameters());
  execute<bool>(
      std::move(built),
      [](const HttpRequestSender::Body&, const platform::HttpResponse&) {
        return std::optional<bool>(true);
      },
      [completion = std::move(completion)](std::optional<bool> delivered,
                                           std::optional<platform::PlatformError> error) {
        completion(delivered.has_value(), std::move(error));
      });
}

}  // namespace lumora
