#include "core/notify/TappedPayload.hpp"

#include <string_view>
#include <variant>

#include "core/notify/NotificationPayloadKeys.hpp"

namespace lumora {
namespace {

using Keys = NotificationPayloadKeys;

// The value under key when it has the expected type; nothing otherwise.
template <typename T>
std::optional<T> valueOf(const platform::NotificationUserInfo& userInfo, std::string_view key) {
  const auto found = userInfo.find(std::string(key));
  if (found == userInfo.end()) return std::nullopt;
  if (const auto* value = std::get_if<T>(&found->second)) return *value;
  return std::nullopt;
}

}  // namespace

std::optional<TappedPayload> TappedPayload::read(const platform::NotificationUserInfo& userInfo) {
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

}  // namespace lumora
