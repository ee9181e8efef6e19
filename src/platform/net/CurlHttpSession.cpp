#include "platform/net/CurlHttpSession.hpp"

#include <curl/curl.h>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/net/CurlTransfer.hpp"

namespace lumora::platform {
namespace {

constexpr int kPollMilliseconds = 1000;

void initializeCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

}  // namespace

/// The state the worker thread runs on. Shared by the session and the thread,
/// so that it outlives a session destroyed from inside a completion.
class CurlHttpSession::Worker {
 public:
  explicit Worker(CurlHttpSessionOptions options)
      : options_(std::move(options)), multi_(curl_multi_init()) {}
  ~Worker() { curl_multi_cleanup(multi_); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void submit(HttpRequest request, Completion completion) {
    auto transfer =
        std::make_unique<CurlTransfer>(std::move(request), std::move(completion), options_);
    {
      std::lock_guard lock(mutex_);
      incoming_.push_back(std::move(transfer));
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
      auto [arrived, stopping] = takeIncoming();
      if (stopping) {
        cancelEverything(std::move(arrived));
        return;
      }
      for (auto& transfer : arrived) start(std::move(transfer));
      int running = 0;
      curl_multi_perform(multi_, &running);
      completeFinished();
      curl_multi_poll(multi_, nullptr, 0, kPollMilliseconds, nullptr);
    }
  }

 private:
  using Transfers = std::vector<std::unique_ptr<CurlTransfer>>;

  std::pair<Transfers, bool> takeIncoming() {
    std::lock_guard lock(mutex_);
    return {std::exchange(incoming_, {}), stopping_};
  }

  void start(std::unique_ptr<CurlTransfer> transfer) {
    CURLcode setup = transfer->setupResult();
    if (setup == CURLE_OK && curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
      setup = CURLE_FAILED_INIT;
    }
    if (setup != CURLE_OK) {
      transfer->complete(setup);
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
    }
  }

  // Completions may submit new tasks while they run; those are cancelled too.
  void cancelEverything(Transfers arrived) {
    for (auto& [easy, transfer] : std::exchange(active_, {})) {
      curl_multi_remove_handle(multi_, easy);
      transfer->cancel();
    }
    while (!arrived.empty()) {
      for (auto& transfer : arrived) transfer->cancel();
      arrived = takeIncoming().first;
    }
  }

  const CurlHttpSessionOptions options_;
  CURLM* const multi_;
  std::mutex mutex_;
  Transfers incoming_;                                     // guarded by mutex_
  bool stopping_ = false;                                  // guarded by mutex_
  std::map<CURL*, std::unique_ptr<CurlTransfer>> active_;  // worker thread only
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

}  // namespace lumora::platform
