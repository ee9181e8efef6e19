#pragma once

// Which of the SDK's log lines are written, and where.
//
// By default every line, debug included, goes to standard output and to the
// system log. A host that wants less says so once, before or after the first
// LumoraAdBeaconSDK::shared():
//
//   #include <lumora/LogControl.hpp>
//
//   lumora::setLogLevel(lumora::LumoraLogLevel::warning);  // warnings and errors only
//   lumora::setLogOutputs({.standardOutput = false, .systemLog = true});
//
// A host that cannot change its code sets the environment variable
// LUMORA_LOG_LEVEL to debug, info, warning, error or off instead; it is read
// once, when the SDK writes its first line, and an explicit setLogLevel() call
// takes precedence over it. A line below the minimum level costs nothing: it
// is never formatted.

#include <cstdint>

#include "lumora/export.hpp"

namespace lumora {

/// The minimum severity of the lines the SDK writes; `off` writes none.
enum class LumoraLogLevel : std::int64_t { debug = 0, info = 1, warning = 2, error = 3, off = 4 };

/// Where the SDK's lines go.
struct LumoraLogOutputs {
  /// The process's standard output, one line per message.
  bool standardOutput = true;
  /// The system log (the syslog socket), under the tag "LumoraBeaconSDK".
  bool systemLog = true;
};

/// Writes only lines of `level` or more severe from now on, whatever
/// LUMORA_LOG_LEVEL says. Safe from any thread.
LUMORA_EXPORT void setLogLevel(LumoraLogLevel level) noexcept;

/// Forgets the level set with setLogLevel(): the level is again the one
/// LUMORA_LOG_LEVEL names, or debug. Safe from any thread.
LUMORA_EXPORT void resetLogLevel() noexcept;

/// Sends the following lines only to the outputs enabled in `outputs`. Safe
/// from any thread.
LUMORA_EXPORT void setLogOutputs(LumoraLogOutputs outputs) noexcept;

}  // namespace lumora
