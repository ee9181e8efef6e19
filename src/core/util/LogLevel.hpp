#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "lumora/LogControl.hpp"

namespace lumora {

enum class LogLevel : std::int64_t { debug = 0, info = 1, warning = 2, error = 3 };

/// "DEBUG", "INFO", "WARNING" or "ERROR".
std::string_view printedName(LogLevel level) noexcept;

/// The minimum level named "debug", "info", "warning", "error" or "off";
/// nothing for any other text.
std::optional<LumoraLogLevel> minimumLevelNamed(std::string_view name) noexcept;

}  // namespace lumora
