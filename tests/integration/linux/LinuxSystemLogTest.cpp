#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <csignal>

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/LinuxPlatform.hpp"
#include "platform/linux/LinuxSystemLog.hpp"

namespace lumora::platform {
namespace {

LogRecord record(std::int64_t level, std::string text) {
  LogRecord line;
  line.level = level;
  line.text = std::move(text);
  return line;
}

/// A pipe standing in for the host's standard output, and a log writing to it
/// only (no system log socket).
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(fds), 0); }
  ~Pipe() {
    for (int fd : fds)
      if (fd >= 0) ::close(fd);
  }
  LinuxSystemLog::Options logOptions(std::size_t capacityBytes) const {
    LinuxSystemLog::Options options;
    options.standardOutput = fds[1];
    options.socketPath = "";
    options.capacityBytes = capacityBytes;
    return options;
  }
  /// Reads on its own thread while `writeAll` runs, then closes the write end
  /// and answers the lines written.
  std::vector<std::string> linesWrittenBy(const std::function<void()>& writeAll) {
    std::string all;
    std::thread reader([&] {
      char buffer[65536];
      for (ssize_t n; (n = ::read(fds[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0) all.append(buffer, static_cast<std::size_t>(n));
      }
    });
    writeAll();
    ::close(std::exchange(fds[1], -1));
    reader.join();
    EXPECT_TRUE(all.empty() || all.back() == '\n') << "a line was cut short";
    std::vector<std::string> lines;
    std::istringstream stream(all);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }
  int fds[2] = {-1, -1};
};

TEST(LinuxSystemLogTest, SystemLogGetsEachLineUnderTheSdkTagWithThePriorityOfItsLevel) {
  // A datagram socket bound at a private path stands in for /dev/log.
  const std::string path = "/tmp/lumora-syslog-" + std::to_string(::getpid());
  const int server = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ::unlink(path.c_str());
  ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const timeval guard{30, 0};  // fail rather than hang when nothing arrives
  ::setsockopt(server, SOL_SOCKET, SO_RCVTIMEO, &guard, sizeof guard);

  ::setenv("LUMORA_LOG_LEVEL", "error", 1);
  LinuxPlatformOptions options;
  options.systemLogSocket = path;
  LinuxPlatform platform(options);
  ::unsetenv("LUMORA_LOG_LEVEL");
  const auto log = platform.systemLog();
  EXPECT_EQ(log->requestedLevel(), "error");

  auto hidden = record(3, "not for the system log");
  hidden.toSystemLog = false;
  log->write(hidden);
  for (const auto& [level, priority] : {std::pair{0, 15}, {1, 14}, {2, 12}, {3, 11}}) {
    log->write(record(level, "2025-03-07 09:41:05 [X] [F:1 f()] - line " + std::to_string(level)));
    const std::regex expected(
        "<" + std::to_string(priority) +
        R"(>[A-Z][a-z]{2} [ 1-3]\d \d\d:\d\d:\d\d LumoraBeaconSDK\[)" + std::to_string(::getpid()) +
        R"(\]: \[LumoraBeaconSDK\] 2025-03-07 09:41:05 \[X\] \[F:1 f\(\)\] - line )" +
        std::to_string(level));
    char buffer[4096];
    const ssize_t n = ::recv(server, buffer, sizeof buffer, 0);
    const std::string datagram(buffer, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    EXPECT_TRUE(std::regex_match(datagram, expected)) << datagram;
  }
  ::close(server);
  ::unlink(path.c_str());
}

// Threads write while nobody reads: the pipe and the queue fill up, yet every
// call returns; what comes out is whole lines, each thread's in its order, and
// notices that account for every line dropped.
TEST(LinuxSystemLogTest, StalledReaderNeitherBlocksCallersNorCutsLinesNorLosesCountOfDropped) {
  constexpr int kThreads = 4;
  constexpr int kLines = 1250;
  Pipe out;
  auto options = out.logOptions(64 << 10);
  options.flushTimeout = std::chrono::seconds(60);
  auto log = std::make_unique<LinuxSystemLog>(options);
  auto hidden = record(1, "not for standard output");
  hidden.toStandardOutput = false;
  log->write(hidden);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&log, t] {
      for (int i = 0; i < kLines; ++i) {
        log->write(record(1, "thread " + std::to_string(t) + " line " + std::to_string(i) + " " +
                                 std::string(static_cast<std::size_t>(i % 300), 'x')));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto lines = out.linesWrittenBy([&] { log.reset(); });

  std::vector<int> previous(kThreads, -1);
  long written = 0;
  long dropped = 0;
  const std::regex notice(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[WARNING\] \[LinuxSystemLog\] - Dropped (\d+) log lines: the output could not keep up)");
  for (const auto& line : lines) {
    std::smatch match;
    if (std::regex_match(line, match, notice)) {
      dropped += std::stol(match[1]);
      continue;
    }
    ASSERT_TRUE(std::regex_match(line, match, std::regex(R"(thread (\d) line (\d+) (x*))")))
        << line;
    const int i = std::stoi(match[2]);
    EXPECT_EQ(match[3].length(), i % 300) << line;
    int& last = previous.at(std::stoul(match[1]));
    EXPECT_GT(i, last) << "order kept";
    last = i;
    ++written;
  }
  EXPECT_GT(dropped, 0);
  EXPECT_EQ(written + dropped, kThreads * kLines);
}

TEST(LinuxSystemLogTest, ReaderThatWentAwayDoesNotKillTheHost) {
  // In a child process: before the writer thread took SIGPIPE on itself, the
  // first line killed the process.
  EXPECT_EXIT(
      {
        std::signal(SIGPIPE, SIG_DFL);
        Pipe out;
        ::close(std::exchange(out.fds[0], -1));
        {
          LinuxSystemLog log(out.logOptions(1 << 20));
          for (int i = 0; i < 100; ++i) log.write(record(1, "to nobody"));
        }
        struct sigaction action {};
        ::sigaction(SIGPIPE, nullptr, &action);
        sigset_t blocked;
        ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        const bool hostSignalsUntouched =
            action.sa_handler == SIG_DFL && !::sigismember(&blocked, SIGPIPE);
        std::_Exit(hostSignalsUntouched ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace lumora::platform
