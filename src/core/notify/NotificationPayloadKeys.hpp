#pragma once

#include <string_view>

namespace lumora {

/// The keys of a library notification's payload: written when it is
/// scheduled, read back when the user taps it.
struct NotificationPayloadKeys {
  static constexpr std::string_view campaignId = "campaignId";
  static constexpr std::string_view creativeId = "creativeId";
  static constexpr std::string_view bindingId = "bindingId";
  static constexpr std::string_view spaceId = "spaceId";
  static constexpr std::string_view clientUUID = "clientUUID";
  static constexpr std::string_view appName = "appName";
  static constexpr std::string_view phoneNumber = "phoneNumber";
  static constexpr std::string_view email = "email";
  static constexpr std::string_view advertisingId = "advertisingId";
  static constexpr std::string_view data = "data";
};

}  // namespace lumora
