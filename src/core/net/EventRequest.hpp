#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/net/EventType.hpp"
#include "lumora/ClientProfile.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// One event report. campaignId and creativeId are absent for request events
/// and present for notification and click events.
struct EventRequest {
  EventType eventType;
  /// Milliseconds since 1970-01-01T00:00:00Z (see timestampAt).
  std::int64_t timestamp;
  std::int64_t bindingId;
  ClientProfile clientProfile;
  std::string spaceId;
  std::optional<std::int64_t> campaignId;
  std::optional<std::int64_t> creativeId;

  /// The event time for a timestamp: milliseconds since 1970, truncated toward zero.
  static std::int64_t timestampAt(platform::TimePoint time);

  /// The JSON body: "timestamp", "eventType", "uuid", "bindingId", "clientInfo",
  /// "spaceInfo" {"spaceId"}, then "cid" and "crid" when present.
  nlohmann::json toBodyParameters() const;
};

}  // namespace lumora
