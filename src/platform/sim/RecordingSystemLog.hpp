#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/SystemLog.hpp"

namespace lumora::platform {

/// Keeps every log record, and hands each to an optional observer (the
/// simulator's timeline). Safe from any thread.
class RecordingSystemLog : public SystemLog {
 public:
  using Observer = std::function<void(const LogRecord&)>;

  void write(const LogRecord& record) override;
  std::optional<std::string> requestedLevel() const override;
  void setObserver(Observer observer);
  /// Makes the log ask for this minimum level, as LUMORA_LOG_LEVEL does on Linux.
  void setRequestedLevel(std::optional<std::string> level);

  std::vector<LogRecord> records() const;
  /// The messages, in order.
  std::vector<std::string> messages() const;
  /// How many records carry exactly this message.
  std::size_t count(const std::string& message) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
  Observer observer_;
  std::optional<std::string> requestedLevel_;
};

}  // namespace lumora::platform
