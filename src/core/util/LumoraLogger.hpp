#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "core/util/LogLevel.hpp"
#include "lumora/LogControl.hpp"
#include "platform/Clock.hpp"
#include "platform/SystemLog.hpp"

namespace lumora {

/// The library's one logging facility. Each call becomes one line
///   2025-03-07 09:41:05 [INFO] [LumoraAdBeaconSDK:368 start()] - message
/// written to the installed platform's system log (standard output and the
/// syslog socket on Linux).
///
/// Every level is written unless the host chose a minimum level
/// (setLogLevel()) or the system log's environment asks for one
/// (LUMORA_LOG_LEVEL on Linux, read once per system log at its first line).
/// LUMORA_LOG checks the level before it evaluates its message, so a filtered
/// line costs one atomic load.
class LumoraLogger {
 public:
  static LumoraLogger& shared();

  /// True when lines of `level` are currently written.
  static bool isEnabled(LogLevel level) noexcept {
    return static_cast<std::int64_t>(level) >= minimumLevel_.load(std::memory_order_relaxed);
  }

  /// file: the caller's file (only its last path component is printed);
  /// function: the caller's signature text, e.g. "start()".
  void log(std::string_view message, LogLevel level, std::string_view file, std::int64_t line,
           std::string_view function);

  /// The host's minimum level; takes precedence over the environment's.
  void setMinimumLevel(LumoraLogLevel level) noexcept;
  /// Drops the host's level; the system log's requested level applies again
  /// from the next line.
  void resetMinimumLevel() noexcept;
  void setOutputs(LumoraLogOutputs outputs) noexcept;

  /// "yyyy-MM-dd HH:mm:ss" in local time.
  static std::string formatTimestamp(platform::TimePoint time);

 private:
  /// Applies the level `sink` asks for the first time a line goes to it
  /// (unless the host chose one); returns the text it asked for when that
  /// names no level.
  std::optional<std::string> adoptRequestedLevel(const std::shared_ptr<platform::SystemLog>& sink,
                                                 const std::shared_ptr<platform::Clock>& clock);
  struct Destination {
    std::shared_ptr<platform::SystemLog> sink;
    std::shared_ptr<platform::Clock> clock;
  };
  Destination destination();
  void write(platform::SystemLog& sink, platform::TimePoint now, std::string_view message,
             LogLevel level, std::string_view file, std::int64_t line,
             std::string_view function) const;

  inline static std::atomic<std::int64_t> minimumLevel_{0};
  std::atomic<bool> toStandardOutput_{true};
  std::atomic<bool> toSystemLog_{true};
  std::mutex configurationMutex_;
  bool hostChoseLevel_ = false;
  /// The sink whose requested level is in force; held so that its address
  /// cannot be reused by a later sink.
  std::shared_ptr<platform::SystemLog> configuredSink_;
  std::shared_ptr<platform::Clock> configuredClock_;
  std::atomic<const platform::SystemLog*> configuredSinkAddress_{nullptr};
};

}  // namespace lumora

/// Logs with the caller's line number. `message` is evaluated only when
/// lines of `level` are written.
#define LUMORA_LOG(level, file, function, message)                                            \
  do {                                                                                        \
    if (::lumora::LumoraLogger::isEnabled(level)) {                                           \
      ::lumora::LumoraLogger::shared().log((message), (level), (file), __LINE__, (function)); \
    }                                                                                         \
  } while (false)
