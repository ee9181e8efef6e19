#include "core/util/LumoraLogger.hpp"

#include <ctime>

#include "platform/Platform.hpp"

namespace lumora {

LumoraLogger& LumoraLogger::shared() {
  static LumoraLogger logger;
  return logger;
}

std::string LumoraLogger::formatTimestamp(platform::TimePoint time) {
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return std::string(text, length);
}

void LumoraLogger::log(std::string_view message, LogLevel level, std::string_view file,
                       std::int64_t line, std::string_view function) const {
  const auto platform = platform::Platform::installed();
  const auto slash = file.rfind('/');
  const std::string_view fileName = slash == std::string_view::npos ? file : file.substr(slash + 1);

  platform::LogRecord record;
  record.level = static_cast<std::int64_t>(level);
  record.levelName = printedName(level);
  record.file = fileName;
  record.line = line;
  record.function = function;
  record.message = message;
  record.text = formatTimestamp(platform->clock()->now()) + " [" + record.levelName + "] [" +
                record.file + ":" + std::to_string(line) + " " + record.function + "] - " +
                record.message;
  platform->systemLog()->write(record);
}

}  // namespace lumora
