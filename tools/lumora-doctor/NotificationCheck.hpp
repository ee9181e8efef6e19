#pragma once

#include <chrono>

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "notifications": a notification server on the session bus
/// (org.freedesktop.Notifications), who it is, and the capabilities that
/// change what the user sees: actions (needed for a tap), body-markup and
/// sound.
class NotificationCheck {
 public:
  static Check run(std::chrono::milliseconds timeout);
};

}  // namespace lumora::doctor
