#pragma once

#include <cstdint>

namespace lumora {

/// The notification center's authorization state, with the platform's raw values.
enum class NotificationAuthorizationStatus : std::int64_t {
  notDetermined = 0,
  denied = 1,
  authorized = 2,
  provisional = 3,
  ephemeral = 4,
};

/// The settings the notification center hands back: only what the library reads.
class NotificationSettingsProtocol {
 public:
  virtual ~NotificationSettingsProtocol() = default;
  virtual NotificationAuthorizationStatus authorizationStatus() const = 0;
};

}  // namespace lumora
