#include "platform/net/CurlHttpSession.hpp"

#include <curl/curl.h>

#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "core/util/LumoraLogger.hpp"
#include "platform/net/CurlHandlePool.hpp"
#include "platform/net/CurlTransfer.hpp"
#include "platform/net/PemCertificates.hpp"

namespace lumora::platform {
namespace {

constexpr int kPollMilliseconds = 1000;
constexpr long kMaxConnections = 8;
/// Transfers handed to curl at once; the rest wait in the session's own FIFO.
/// curl would queue them itself, but its cost of removing a finished transfer
/// grows with the number it holds, which under a burst of new beacons made
/// the worker spend its time on bookkeeping and fall ever further behind.
constexpr std::size_t kMaxInCurl = 2 * kMaxConnections;

void initializeCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The extra CA file's certificates; a file that cannot be used is logged and
// left out, so that the system's store still serves every request.
std::optional<std::string> extraCertificates(const CurlHttpSessionOptions& options) {
  if (!options.extraCaFile) return std::nullopt;
  try {
    return PemCertificates::read(*options.extraCaFile);
  } catch (const std::runtime_error& error) {
    LUMORA_LOG(LogLevel::error, "CurlHttpSession", "init(options:)",
               "Cannot trust the certificate authorities in " + *options.extraCaFile + " (" +
                   error.what() + "); only the system's store is trusted");
    return std::nullopt;
  }
}

}  // namespace

/// The state the worker thread runs on. Shared by the session and the thread,
/// so that it outlives a session destroyed from inside a completion.
class CurlHttpSession::Worker {
 public:
  explicit Worker(CurlHttpSessionOptions options)
      : options_(std::move(options)),
        extraCertificates_(extraCertificates(options_)),
        multi_(curl_multi_init()) {
    // A bounded number of connections, kept alive and reused: under a burst of
    // new beacons further transfers wait inside curl for a free connection
    // instead of each opening (and caching) one of its own, which would
    // exhaust the host's file descriptors.
    curl_multi_setopt(multi_, CURLMOPT_MAX_TOTAL_CONNECTIONS, kMaxConnections);
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kMaxConnections);
  }
  ~Worker() { curl_multi_cleanup(multi_); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void submit(HttpRequest request, Completion completion) {
    auto transfer = std::make_unique<CurlTransfer>(std::move(request), std::move(completion),
                                                   options_.maxResponseBytes);
    {
      std::lock_guard lock(mutex_);
      incoming_.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi_);
  }

  // Completes a task that never started, on the worker thread like the rest.
  void submitFailure(PlatformError error, Completion completion) {
    {
      std::lock_guard lock(mutex_);
      failures_.emplace_back(std::move(error), std::move(completion));
    }
    curl_multi_wakeup(multi_);
  }

  void stop() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    curl_multi_wakeup(multi_);
  }

  void run() {
    for (;;) {
      auto incoming = takeIncoming();
      if (incoming.stopping) {
        cancelEverything(std::move(incoming));
        return;
      }
      completeFailures(std::move(incoming.failures));
      for (auto& transfer : incoming.transfers) enqueue(std::move(transfer));
      startWaiting();
      int running = 0;
      curl_multi_perform(multi_, &running);
      completeFinished();
      startWaiting();  // curl wants a newly added transfer run at once: the poll returns
      curl_multi_poll(multi_, nullptr, 0, kPollMilliseconds, nullptr);
    }
  }

 private:
  using Transfers = std::vector<std::unique_ptr<CurlTransfer>>;
  using Failures = std::vector<std::pair<PlatformError, Completion>>;
  struct Incoming {
    Transfers transfers;
    Failures failures;
    bool stopping = false;
  };

  Incoming takeIncoming() {
    std::lock_guard lock(mutex_);
    return {std::exchange(incoming_, {}), std::exchange(failures_, {}), stopping_};
  }

  static void completeFailures(Failures failures) {
    for (auto& [error, completion] : failures) completion(HttpResult{{}, {}, std::move(error)});
  }

  // Starts the transfer if curl has room and nothing waits before it; queues
  // it otherwise, up to the bound.
  void enqueue(std::unique_ptr<CurlTransfer> transfer) {
    if (waiting_.empty() && active_.size() < kMaxInCurl) {
      start(std::move(transfer));
      return;
    }
    if (waiting_.size() >= options_.maxWaitingRequests) {
      transfer->refuseOverflow(waiting_.size());
      return;
    }
    waiting_.push_back(std::move(transfer));
  }

  void startWaiting() {
    while (!waiting_.empty() && active_.size() < kMaxInCurl) {
      auto transfer = std::move(waiting_.front());
      waiting_.pop_front();
      start(std::move(transfer));
    }
  }

  // The transfer gets its easy handle only now, from the handles this thread
  // reuses: waiting requests hold none, and a handle is made, used and kept
  // by this thread alone.
  void start(std::unique_ptr<CurlTransfer> transfer) {
    CURLcode setup = transfer->prepare(handles_.take(), options_, extraCertificates_);
    if (setup == CURLE_OK && curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
      setup = CURLE_FAILED_INIT;
    }
    if (setup != CURLE_OK) {
      transfer->complete(setup);
      handles_.give(transfer->releaseHandle());
      return;
    }
    active_.emplace(transfer->handle(), std::move(transfer));
  }

  void completeFinished() {
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
      if (message->msg != CURLMSG_DONE) continue;
      // The message dies with the handle's removal: copy what is needed first.
      CURL* easy = message->easy_handle;
      const CURLcode code = message->data.result;
      auto found = active_.find(easy);
      if (found == active_.end()) continue;
      auto transfer = std::move(found->second);
      active_.erase(found);
      curl_multi_remove_handle(multi_, easy);
      transfer->complete(code);
      handles_.give(transfer->releaseHandle());
    }
  }

  // Completions may submit new tasks while they run; those are cancelled too.
  // Tasks that failed before starting end with their own error.
  void cancelEverything(Incoming arrived) {
    for (auto& [easy, transfer] : std::exchange(active_, {})) {
      curl_multi_remove_handle(multi_, easy);
      transfer->cancel();
    }
    for (auto& transfer : std::exchange(waiting_, {})) transfer->cancel();
    while (!arrived.transfers.empty() || !arrived.failures.empty()) {
      completeFailures(std::move(arrived.failures));
      for (auto& transfer : arrived.transfers) transfer->cancel();
      arrived = takeIncoming();
    }
  }

  const CurlHttpSessionOptions options_;
  const std::optional<std::string> extraCertificates_;
  CURLM* const multi_;
  std::mutex mutex_;
  Transfers incoming_;                                     // guarded by mutex_
  Failures failures_;                                      // guarded by mutex_
  bool stopping_ = false;                                  // guarded by mutex_
  std::map<CURL*, std::unique_ptr<CurlTransfer>> active_;  // worker thread only
  std::deque<std::unique_ptr<CurlTransfer>> waiting_;      // worker thread only
  CurlHandlePool handles_;                                 // worker thread only
};

CurlHttpSession::CurlHttpSession(CurlHttpSessionOptions options) {
  initializeCurlOnce();
  worker_ = std::make_shared<Worker>(std::move(options));
  thread_ = std::thread([worker = worker_] { worker->run(); });
}

CurlHttpSession::~CurlHttpSession() {
  worker_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void CurlHttpSession::dataTask(HttpRequest request, Completion completion) {
  worker_->submit(std::move(request), std::move(completion));
}

void CurlHttpSession::failTask(PlatformError error, Completion completion) {
  worker_->submitFailure(std::move(error), std::move(completion));
}

}  // namespace lumora::platform
