#pragma once

#include <mutex>

#include "platform/SystemLog.hpp"

namespace lumora::platform {

/// Writes each line to standard output (one write per line) and to syslog(3)
/// under the tag "LumoraBeaconSDK" with the default priority, whatever the level.
class LinuxSystemLog : public SystemLog {
 public:
  LinuxSystemLog();
  void write(const LogRecord& record) override;

 private:
  std::mutex mutex_;
};

}  // namespace lumora::platform
