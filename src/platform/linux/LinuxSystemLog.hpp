#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/SystemLog.hpp"

namespace lumora::platform {

/// Writes each line to standard output (whole lines per write, at most what a
/// pipe takes in one piece, so lines never interleave) and to the system log
/// socket (SyslogSocket), without ever harming the host:
/// - write() only queues the line; one writer thread does the output, so a
///   stalled reader of standard output never blocks the caller;
/// - the writer, woken by a line, gathers the lines of the next 50 ms (or
///   until half the queue is used) and outputs them together, so a steady
///   stream of lines costs a few wake-ups per second rather than one per line;
/// - the queue is bounded: lines that do not fit are dropped and counted, and
///   the writer later writes one line saying how many were dropped;
/// - a reader that went away costs no SIGPIPE: the writer thread blocks every
///   signal and consumes the SIGPIPE its own write raised; the host's signal
///   dispositions and file descriptor flags are never changed;
/// - destruction (process exit) waits a bounded time for the queue to drain.
class LinuxSystemLog : public SystemLog {
 public:
  struct Options {
    /// Where the standard-output lines go (not owned).
    int standardOutput = STDOUT_FILENO;
    /// The system log's datagram socket.
    std::filesystem::path socketPath = "/dev/log";
    /// The minimum level the environment asks for (LUMORA_LOG_LEVEL).
    std::optional<std::string> requestedLevel;
    /// Text queued for the writer at most; further lines are dropped.
    std::size_t capacityBytes = 1 << 20;
    /// How long destruction waits for the queue to drain.
    std::chrono::milliseconds flushTimeout{1000};
  };

  LinuxSystemLog() : LinuxSystemLog(Options{}) {}
  explicit LinuxSystemLog(Options options);
  ~LinuxSystemLog() override;
  LinuxSystemLog(const LinuxSystemLog&) = delete;
  LinuxSystemLog& operator=(const LinuxSystemLog&) = delete;

  void write(const LogRecord& record) override;
  std::optional<std::string> requestedLevel() const override;

 private:
  class Writer;
  const std::optional<std::string> requestedLevel_;
  const std::chrono::milliseconds flushTimeout_;
  const std::shared_ptr<Writer> writer_;
  std::thread thread_;
};

}  // namespace lumora::platform
