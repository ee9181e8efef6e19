#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace lumora::tools {

/// Checks one device-event body as the SDK must send it: a JSON object with
///   "timestamp"  integer, milliseconds since 1970 (13 digits)
///   "eventType"  "request", "notification" or "click"
///   "uuid"       string
///   "bindingId"  integer
///   "clientInfo" {"platform": "ios", "appName", "deviceMode": strings,
///                 optional "deviceId", "phoneNumber", "email": strings}
///   "spaceInfo"  {"spaceId": string} and nothing else
///   "cid", "crid" integers, absent for "request", present for the others
/// and no other keys.
class EventValidator {
 public:
  /// Every problem found, one short sentence each, in key order; empty when
  /// the body is valid.
  static std::vector<std::string> check(const nlohmann::json& body);
};

}  // namespace lumora::tools
