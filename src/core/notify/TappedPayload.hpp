#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/NotificationCenter.hpp"

namespace lumora {

/// What a tap on a library notification carries back in its payload.
///
///   if (auto payload = TappedPayload::read(response.request.userInfo)) report(*payload);
struct TappedPayload {
  std::int64_t bindingId = 0;
  std::int64_t campaignId = 0;
  std::int64_t creativeId = 0;
  std::string appName;
  std::string data;     // "" when absent
  std::string spaceId;  // "" when absent
  std::optional<std::string> phoneNumber;
  std::optional<std::string> email;
  std::optional<std::string> advertisingId;

  /// Nothing when a required key ("bindingId", "campaignId", "creativeId" as
  /// integers, "appName" as a string) is missing or of another type: the
  /// notification is not one of the library's. Optional keys of another type
  /// count as absent.
  static std::optional<TappedPayload> read(const platform::NotificationUserInfo& userInfo);

  friend bool operator==(const TappedPayload&, const TappedPayload&) = default;
};

}  // namespace lumora
