#include "core/util/LogLevel.hpp"

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

}  // namespace lumora
