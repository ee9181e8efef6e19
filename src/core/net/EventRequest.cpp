#include "core/net/EventRequest.hpp"

#include <chrono>

namespace lumora {
namespace {

// The profile as the event server knows it. The device model travels under
// "deviceMode"; the system name is not sent.
nlohmann::json toClientInfo(const ClientProfile& profile) {
  nlohmann::json info = {
      {"platform", "ios"},
      {"appName", profile.getAppName()},
      {"deviceMode", profile.getDeviceName()},
  };
  if (const auto advertisingId = profile.getAdvertisingId()) info["deviceId"] = *advertisingId;
  if (const auto phoneNumber = profile.getPhoneNumber()) info["phoneNumber"] = *phoneNumber;
  if (const auto email = profile.getEmail()) info["email"] = *email;
  return info;
}

}  // namespace

std::int64_t EventRequest::timestampAt(platform::TimePoint time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

nlohmann::json EventRequest::toBodyParameters() const {
  nlohmann::json body = {
      {"timestamp", timestamp},
      {"eventType", rawValue(eventType)},
      {"uuid", clientProfile.getUUID()},
      {"bindingId", bindingId},
      {"clientInfo", toClientInfo(clientProfile)},
      {"spaceInfo", {{"spaceId", spaceId}}},
  };
  if (campaignId) body["cid"] = *campaignId;
  if (creativeId) body["crid"] = *creativeId;
  return body;
}

}  // namespace lumora
