#pragma once

#include <string_view>

namespace lumora {

/// What happened to a creative, as reported to the event server.
enum class EventType { request, notification, click };

/// The text sent as "eventType": "request", "notification" or "click".
std::string_view rawValue(EventType type) noexcept;

}  // namespace lumora
