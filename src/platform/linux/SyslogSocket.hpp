#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>

namespace lumora::platform {

/// The system log's datagram socket (/dev/log), written to as syslog(3) would
/// write to it but under the library's own identity, so that the host's
/// openlog() identity is left alone.
///
/// Never blocks: a message the system log cannot take at once is dropped.
/// Not thread-safe; one writer thread owns it.
class SyslogSocket {
 public:
  explicit SyslogSocket(std::filesystem::path path);
  ~SyslogSocket();
  SyslogSocket(const SyslogSocket&) = delete;
  SyslogSocket& operator=(const SyslogSocket&) = delete;

  /// Sends one message at the priority of `level` (0 debug to 3 error).
  void send(std::int64_t level, std::string_view message);

  /// "<PRI>Mmm dd HH:MM:SS LumoraBeaconSDK[PID]: [LumoraBeaconSDK] message", the
  /// user facility and the level's severity in PRI, the time in local time.
  static std::string datagram(std::int64_t level, std::string_view message, std::time_t now,
                              long pid);

 private:
  bool connectSocket();
  void closeSocket();

  const std::filesystem::path path_;
  int fd_ = -1;
  std::time_t lastFailedConnect_ = -1;
};

}  // namespace lumora::platform
