#include "core/util/LumoraLogger.hpp"

#include <charconv>
#include <ctime>
#include <limits>

#include "platform/Platform.hpp"

namespace lumora {
namespace {

constexpr std::size_t kTimestampCapacity = 32;
constexpr std::string_view kLogFile = "LumoraLogger";
constexpr std::string_view kLogFunction = "log(_:level:file:line:function:)";

std::size_t formatTimestampInto(std::int64_t secondsSince1970, char (&text)[kTimestampCapacity]) {
  const auto seconds = static_cast<std::time_t>(secondsSince1970);
  std::tm local{};
  localtime_r(&seconds, &local);
  return std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
}

/// The time stamp of `time`, converted to local time once per whole second
/// and thread.
std::string_view cachedTimestamp(platform::TimePoint time) {
  thread_local std::int64_t cachedSecond = std::numeric_limits<std::int64_t>::min();
  thread_local char cachedText[kTimestampCapacity];
  thread_local std::size_t cachedLength = 0;
  const std::int64_t second =
      std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  if (second != cachedSecond) {
    cachedLength = formatTimestampInto(second, cachedText);
    cachedSecond = second;
  }
  return {cachedText, cachedLength};
}

/// "<timestamp> [LEVEL] [file:line function] - message", built in the
/// record's own buffer so that a thread's lines reuse one allocation.
void formatLine(platform::LogRecord& record, std::string_view timestamp) {
  char digits[std::numeric_limits<std::int64_t>::digits10 + 2];
  const auto digitsEnd = std::to_chars(std::begin(digits), std::end(digits), record.line).ptr;
  std::string& text = record.text;
  text.clear();
  text.reserve(timestamp.size() + record.levelName.size() + record.file.size() +
               record.function.size() + record.message.size() + sizeof digits + 12);
  text.append(timestamp).append(" [").append(record.levelName).append("] [");
  text.append(record.file).append(1, ':').append(digits, digitsEnd).append(1, ' ');
  text.append(record.function).append("] - ").append(record.message);
}

}  // namespace

LumoraLogger& LumoraLogger::shared() {
  static LumoraLogger logger;
  return logger;
}

std::string LumoraLogger::formatTimestamp(platform::TimePoint time) {
  char text[kTimestampCapacity];
  const std::size_t length = formatTimestampInto(
      std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count(), text);
  return std::string(text, length);
}

void LumoraLogger::setMinimumLevel(LumoraLogLevel level) noexcept {
  std::lock_guard lock(configurationMutex_);
  hostChoseLevel_ = true;
  minimumLevel_.store(static_cast<std::int64_t>(level), std::memory_order_relaxed);
}

void LumoraLogger::resetMinimumLevel() noexcept {
  std::lock_guard lock(configurationMutex_);
  hostChoseLevel_ = false;
  configuredSink_.reset();
  configuredClock_.reset();
  configuredSinkAddress_.store(nullptr, std::memory_order_release);
  minimumLevel_.store(static_cast<std::int64_t>(LumoraLogLevel::debug), std::memory_order_relaxed);
}

void LumoraLogger::setOutputs(LumoraLogOutputs outputs) noexcept {
  toStandardOutput_.store(outputs.standardOutput, std::memory_order_relaxed);
  toSystemLog_.store(outputs.systemLog, std::memory_order_relaxed);
}

std::optional<std::string> LumoraLogger::adoptRequestedLevel(
    const std::shared_ptr<platform::SystemLog>& sink,
    const std::shared_ptr<platform::Clock>& clock) {
  std::lock_guard lock(configurationMutex_);
  if (configuredSink_ == sink) return std::nullopt;
  configuredSink_ = sink;
  configuredClock_ = clock;
  configuredSinkAddress_.store(sink.get(), std::memory_order_release);
  if (hostChoseLevel_) return std::nullopt;
  const auto requested = sink->requestedLevel();
  const auto level = requested ? minimumLevelNamed(*requested) : LumoraLogLevel::debug;
  minimumLevel_.store(static_cast<std::int64_t>(level.value_or(LumoraLogLevel::debug)),
                      std::memory_order_relaxed);
  if (level) return std::nullopt;
  return requested;
}

// The installed platform's log and clock. Once the host has removed its
// platform, a line logged while services wind down goes to the log adopted
// last, rather than bringing up a new platform on whatever thread logs.
LumoraLogger::Destination LumoraLogger::destination() {
  if (const auto platform = platform::Platform::current()) {
    return {platform->systemLog(), platform->clock()};
  }
  {
    std::lock_guard lock(configurationMutex_);
    if (configuredSink_) return {configuredSink_, configuredClock_};
  }
  const auto platform = platform::Platform::installed();
  return {platform->systemLog(), platform->clock()};
}

void LumoraLogger::log(std::string_view message, LogLevel level, std::string_view file,
                       std::int64_t line, std::string_view function) {
  const auto [sink, clock] = destination();
  if (sink.get() != configuredSinkAddress_.load(std::memory_order_acquire)) {
    if (const auto invalid = adoptRequestedLevel(sink, clock)) {
      LUMORA_LOG(LogLevel::warning, kLogFile, kLogFunction,
                 "Ignoring LUMORA_LOG_LEVEL \"" + *invalid +
                     "\": expected debug, info, warning, error or off");
    }
  }
  if (!isEnabled(level)) return;
  const auto slash = file.rfind('/');
  const std::string_view fileName = slash == std::string_view::npos ? file : file.substr(slash + 1);
  write(*sink, clock->now(), message, level, fileName, line, function);
}

void LumoraLogger::write(platform::SystemLog& sink, platform::TimePoint now,
                         std::string_view message, LogLevel level, std::string_view file,
                         std::int64_t line, std::string_view function) const {
  // Each thread fills one record whose strings keep their capacity from line
  // to line; a line logged from inside a sink's write() gets a record of its own.
  thread_local platform::LogRecord threadRecord;
  thread_local bool threadRecordInUse = false;
  platform::LogRecord nestedRecord;
  platform::LogRecord& record = threadRecordInUse ? nestedRecord : threadRecord;
  const bool ownsThreadRecord = !threadRecordInUse;
  threadRecordInUse = true;

  record.level = static_cast<std::int64_t>(level);
  record.levelName = printedName(level);
  record.file = file;
  record.line = line;
  record.function = function;
  record.message = message;
  record.toStandardOutput = toStandardOutput_.load(std::memory_order_relaxed);
  record.toSystemLog = toSystemLog_.load(std::memory_order_relaxed);
  formatLine(record, cachedTimestamp(now));
  sink.write(record);

  if (ownsThreadRecord) threadRecordInUse = false;
}

void setLogLevel(LumoraLogLevel level) noexcept { LumoraLogger::shared().setMinimumLevel(level); }

void resetLogLevel() noexcept { LumoraLogger::shared().resetMinimumLevel(); }

void setLogOutputs(LumoraLogOutputs outputs) noexcept {
  LumoraLogger::shared().setOutputs(outputs);
}

}  // namespace lumora
