#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumora::platform {

/// One formatted log line and the parts it was made of.
struct LogRecord {
  std::int64_t level = 0;  // 0 debug, 1 info, 2 warning, 3 error
  std::string levelName;
  std::string file;
  std::int64_t line = 0;
  std::string function;
  std::string message;
  std::string text;  // the whole line as printed
  /// The outputs the host wants this line on (sinks with one output ignore these).
  bool toStandardOutput = true;
  bool toSystemLog = true;
};

/// Where log lines go: standard output and the system log on Linux, a recorder
/// in tests and the simulator. Called from any thread; lines never interleave.
/// write() never blocks its caller for long and never raises a signal.
class SystemLog {
 public:
  virtual ~SystemLog() = default;
  virtual void write(const LogRecord& record) = 0;
  /// The minimum level the process's environment asks for, as its text (for
  /// example "warning"); absent when it asks for none.
  virtual std::optional<std::string> requestedLevel() const { return std::nullopt; }
};

}  // namespace lumora::platform
