#include "platform/linux/LinuxSystemLog.hpp"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace lumora::platform {
namespace {

void writeAll(int fd, const std::string& text) {
  const char* data = text.data();
  std::size_t left = text.size();
  while (left > 0) {
    const ssize_t written = ::write(fd, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    data += written;
    left -= static_cast<std::size_t>(written);
  }
}

}  // namespace

LinuxSystemLog::LinuxSystemLog() { openlog("LumoraBeaconSDK", LOG_NDELAY, LOG_USER); }

void LinuxSystemLog::write(const LogRecord& record) {
  // One lock around both writes keeps concurrent lines whole and in the same
  // order in both sinks.
  std::lock_guard lock(mutex_);
  writeAll(STDOUT_FILENO, record.text + "\n");
  syslog(LOG_NOTICE, "[LumoraBeaconSDK] %s", record.text.c_str());
}

}  // namespace lumora::platform
