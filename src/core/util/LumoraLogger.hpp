#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/util/LogLevel.hpp"
#include "platform/Clock.hpp"

namespace lumora {

/// The library's one logging facility. Each call becomes one line
///   2025-03-07 09:41:05 [INFO] [LumoraAdBeaconSDK:368 start()] - message
/// written to the installed platform's system log (standard output and syslog
/// on Linux). No state, no filter: every level is always written.
class LumoraLogger {
 public:
  static LumoraLogger& shared();

  /// file: the caller's file (only its last path component is printed);
  /// function: the caller's signature text, e.g. "start()".
  void log(std::string_view message, LogLevel level, std::string_view file, std::int64_t line,
           std::string_view function) const;

  /// "yyyy-MM-dd HH:mm:ss" in local time.
  static std::string formatTimestamp(platform::TimePoint time);
};

}  // namespace lumora

/// Logs with the caller's line number.
#define LUMORA_LOG(level, file, function, message) \
  ::lumora::LumoraLogger::shared().log((message), (level), (file), __LINE__, (function))
