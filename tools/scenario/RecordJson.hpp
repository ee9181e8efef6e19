#pragma once

#include <nlohmann/json.hpp>

#include "scenario/SimRecord.hpp"

namespace lumora::tools {

/// The JSON form of an output record: "t" and "kind" first, then
///   callback      "name"; "creative" {"data" (null when absent), "creativeId",
///                 "bindingId", "campaignId", "spaceId"} or "code" (raw) and "message"
///   notification  "identifier", "title", "body", "userInfo" (object), "delay"
///   log           "level" (debug/info/warning/error), "file", "function",
///                 "message", "text"
///   scan          "action" ("start"/"stop"); for start "services", "allowDuplicates"
///   state         "isScanning"
///   defaults      "store" (object)
class RecordJson {
 public:
  static nlohmann::ordered_json encode(const SimRecord& record);
  /// "callback", "notification", "log", "scan", "state" or "defaults".
  static const char* kind(const SimRecord& record);
  static double time(const SimRecord& record);
};

}  // namespace lumora::tools
