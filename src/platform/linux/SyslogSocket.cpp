#include "platform/linux/SyslogSocket.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace lumora::platform {
namespace {

int priorityOf(std::int64_t level) {
  switch (level) {
    case 1:
      return LOG_USER | LOG_INFO;
    case 2:
      return LOG_USER | LOG_WARNING;
    case 3:
      return LOG_USER | LOG_ERR;
    default:
      return LOG_USER | LOG_DEBUG;
  }
}

}  // namespace

SyslogSocket::SyslogSocket(std::filesystem::path path) : path_(std::move(path)) {}

SyslogSocket::~SyslogSocket() { closeSocket(); }

std::string SyslogSocket::datagram(std::int64_t level, std::string_view message, std::time_t now,
                                   long pid) {
  // The month in English whatever the host's locale, as syslog(3) writes it.
  static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm local{};
  localtime_r(&now, &local);
  char header[96];
  const int length = std::snprintf(
      header, sizeof header, "<%d>%s %2d %02d:%02d:%02d LumoraBeaconSDK[%ld]: [LumoraBeaconSDK] ",
      priorityOf(level), kMonths[static_cast<std::size_t>(local.tm_mon) % 12], local.tm_mday,
      local.tm_hour, local.tm_min, local.tm_sec, pid);
  std::string text;
  text.reserve(static_cast<std::size_t>(length) + message.size());
  text.append(header, static_cast<std::size_t>(length)).append(message);
  return text;
}

void SyslogSocket::send(std::int64_t level, std::string_view message) {
  const std::time_t now = std::time(nullptr);
  // Without a system log (none on this machine, or journald restarting) the
  // socket is tried again at most once a second, not for every line.
  if (fd_ < 0 && now == lastFailedConnect_) return;
  const std::string text = datagram(level, message, now, static_cast<long>(getpid()));
  // One reconnection when the system log went away since the last line.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (fd_ < 0 && !connectSocket()) {
      lastFailedConnect_ = now;
      return;
    }
    if (::send(fd_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return;
    if (errno != ECONNREFUSED && errno != ENOTCONN && errno != ENOENT) return;
    closeSocket();
  }
}

bool SyslogSocket::connectSocket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& path = path_.native();
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.data(), path.size());
  fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd_ < 0) return false;
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    closeSocket();
    return false;
  }
  return true;
}

void SyslogSocket::closeSocket() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

}  // namespace lumora::platform
