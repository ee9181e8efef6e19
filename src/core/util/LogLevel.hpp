#pragma once

#include <cstdint>
#include <string_view>

namespace lumora {

enum class LogLevel : std::int64_t { debug = 0, info = 1, warning = 2, error = 3 };

/// "DEBUG", "INFO", "WARNING" or "ERROR".
std::string_view printedName(LogLevel level) noexcept;

}  // namespace lumora
