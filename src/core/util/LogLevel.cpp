#include "core/util/LogLevel.hpp"

#include <array>
#include <utility>

namespace lumora {

std::string_view printedName(LogLevel level) noexcept {
  switch (level) {
    case LogLevel::debug:
      return "DEBUG";
    case LogLevel::info:
      return "INFO";
    case LogLevel::warning:
      return "WARNING";
    case LogLevel::error:
      return "ERROR";
  }
  return "DEBUG";
}

std::optional<LumoraLogLevel> minimumLevelNamed(std::string_view name) noexcept {
  static constexpr std::array<std::pair<std::string_view, LumoraLogLevel>, 5> kNames{{
      {"debug", LumoraLogLevel::debug},
      {"info", LumoraLogLevel::info},
      {"warning", LumoraLogLevel::warning},
      {"error", LumoraLogLevel::error},
      {"off", LumoraLogLevel::off},
  }};
  for (const auto& [text, level] : kNames) {
    if (text == name) return level;
  }
  return std::nullopt;
}

}  // namespace lumora
