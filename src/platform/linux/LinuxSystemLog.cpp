#include "platform/linux/LinuxSystemLog.hpp"

#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <utility>

#include "platform/linux/SyslogSocket.hpp"

namespace lumora::platform {
namespace {

/// How long the writer, woken by a first line, waits for more before writing:
/// a steady stream of lines then costs a few wake-ups and writes per second
/// instead of one of each per line.
constexpr std::chrono::milliseconds kGathering{50};

/// Standard-output lines are written together up to this size, which a pipe
/// takes in one piece: lines of several writers never interleave.
constexpr std::size_t kWriteChunk = PIPE_BUF;

struct QueuedLine {
  std::string text;  // the line and its newline
  std::int64_t level = 0;
  bool toStandardOutput = true;
  bool toSystemLog = true;
};

/// Every signal stays with the host's threads; in particular the SIGPIPE a
/// write to a closed pipe raises stays pending here instead of killing the
/// process.
void blockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

void consumePendingSigpipe() {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  const timespec immediately{};
  while (sigtimedwait(&pipe, nullptr, &immediately) == SIGPIPE) {
  }
}

/// Writes all of `text` to `fd`, waiting for room when the host made the
/// descriptor non-blocking; gives up on any other error.
void writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
      continue;
    }
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd ready{fd, POLLOUT, 0};
      if (::poll(&ready, 1, -1) >= 0) continue;
    }
    if (errno == EPIPE) consumePendingSigpipe();
    return;
  }
}

std::string droppedNotice(std::uint64_t dropped) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char timestamp[32];
  const std::size_t length =
      std::strftime(timestamp, sizeof timestamp, "%Y-%m-%d %H:%M:%S", &local);
  return std::string(timestamp, length) + " [WARNING] [LinuxSystemLog] - Dropped " +
         std::to_string(dropped) + " log lines: the output could not keep up\n";
}

}  // namespace

/// The queue and the state the writer thread shares with the log. The thread
/// holds it too, so that a thread still stuck in a write when the log is
/// destroyed stays valid.
class LinuxSystemLog::Writer {
 public:
  explicit Writer(const Options& options)
      : standardOutput_(options.standardOutput),
        capacityBytes_(options.capacityBytes),
        socket_(options.socketPath) {}

  /// Queues the line, or counts it as dropped when the queue is full; true
  /// when the writer is waiting and must be woken.
  bool push(const LogRecord& record) {
    const std::size_t size = record.text.size() + 1;
    std::lock_guard lock(mutex_);
    if (queuedBytes_ + size > capacityBytes_) {
      ++dropped_;
      return std::exchange(idle_, false);
    }
    QueuedLine& line = lines_.emplace_back();
    line.text.reserve(size);
    line.text.append(record.text).append(1, '\n');
    line.level = record.level;
    line.toStandardOutput = record.toStandardOutput;
    line.toSystemLog = record.toSystemLog;
    const bool halfFull =
        queuedBytes_ < capacityBytes_ / 2 && queuedBytes_ + size >= capacityBytes_ / 2;
    queuedBytes_ += size;
    // One wake-up for the first line; the writer gathers the following ones by
    // itself unless they fill half the queue first.
    const bool wake = idle_ || halfFull;
    idle_ = false;
    return wake;
  }

  void wake() { changed_.notify_all(); }

  void stop() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
  }

  bool waitUntilFinished(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [this] { return finished_; });
  }

  void run() {
    blockAllSignals();
    std::unique_lock lock(mutex_);
    for (;;) {
      idle_ = true;
      changed_.wait(lock, [this] { return stopping_ || hasWork(); });
      changed_.wait_for(lock, kGathering,
                        [this] { return stopping_ || queuedBytes_ >= capacityBytes_ / 2; });
      idle_ = false;
      if (!hasWork()) break;
      std::deque<QueuedLine> batch = std::exchange(lines_, {});
      const std::uint64_t dropped = std::exchange(dropped_, 0);
      queuedBytes_ = 0;
      lock.unlock();
      if (dropped > 0) batch.push_back(QueuedLine{droppedNotice(dropped), 2, true, true});
      output(batch);
      lock.lock();
    }
    finished_ = true;
    lock.unlock();
    changed_.notify_all();
  }

 private:
  bool hasWork() const { return !lines_.empty() || dropped_ > 0; }

  void output(const std::deque<QueuedLine>& batch) {
    for (const auto& line : batch) {
      if (line.toSystemLog) {
        socket_.send(line.level, std::string_view(line.text).substr(0, line.text.size() - 1));
      }
      if (!line.toStandardOutput) continue;
      if (chunk_.size() + line.text.size() > kWriteChunk) flushChunk();
      chunk_.append(line.text);
    }
    flushChunk();
  }

  void flushChunk() {
    writeAll(standardOutput_, chunk_);
    chunk_.clear();
  }

  const int standardOutput_;
  const std::size_t capacityBytes_;
  SyslogSocket socket_;  // used by the writer thread only
  std::string chunk_;    // standard-output lines being gathered, writer thread only
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<QueuedLine> lines_;
  std::size_t queuedBytes_ = 0;
  std::uint64_t dropped_ = 0;
  bool idle_ = false;
  bool stopping_ = false;
  bool finished_ = false;
};

LinuxSystemLog::LinuxSystemLog(Options options)
    : requestedLevel_(std::move(options.requestedLevel)),
      flushTimeout_(options.flushTimeout),
      writer_(std::make_shared<Writer>(options)),
      thread_([writer = writer_] { writer->run(); }) {}

LinuxSystemLog::~LinuxSystemLog() {
  writer_->stop();
  if (writer_->waitUntilFinished(flushTimeout_)) {
    thread_.join();
  } else {
    // Stuck writing to a reader that does not read: leave it to the process.
    thread_.detach();
  }
}

void LinuxSystemLog::write(const LogRecord& record) {
  if (!record.toStandardOutput && !record.toSystemLog) return;
  if (writer_->push(record)) writer_->wake();
}

std::optional<std::string> LinuxSystemLog::requestedLevel() const { return requestedLevel_; }

}  // namespace lumora::platform
