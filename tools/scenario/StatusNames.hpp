#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::tools {

/// The system's case names of the OS statuses, and the raw values the
/// platform interfaces use for them (their position in these lists):
///   location:      notDetermined, restricted, denied, authorizedAlways, authorizedWhenInUse
///   bluetooth:     unknown, resetting, unsupported, unauthorized, poweredOff, poweredOn
///   notifications: notDetermined, denied, authorized, provisional, ephemeral
class StatusNames {
 public:
  enum class Kind { location, bluetooth, notifications };

  static std::optional<std::int64_t> rawValue(Kind kind, std::string_view name);
  /// "notDetermined, restricted, ..." for messages.
  static std::string allNames(Kind kind);
  /// The case name of a host-facing error code ("frequencyCapExceeded" for
  /// 11); "unknown" for a code out of range.
  static std::string_view errorName(std::int64_t code);
  /// "location", "bluetooth" or "notifications".
  static std::string_view kindName(Kind kind);
};

}  // namespace lumora::tools
