#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/HttpSession.hpp"
#include "platform/sim/VirtualMainQueue.hpp"

namespace lumora::testing {

/// Records every request and answers it with the reply scripted when it started
/// (200, empty, unless told otherwise) on a thread of its own, never inline. An
/// unanswered request is external work: running the queue waits for it.
class RecordingHttpSession : public platform::HttpSession {
 public:
  explicit RecordingHttpSession(std::shared_ptr<platform::VirtualMainQueue> queue)
      : queue_(std::move(queue)) {
    respondWith(200);
  }
  /// Waits for every answer still on its way.
  ~RecordingHttpSession() override {
    std::vector<std::thread> workers;
    {
      std::lock_guard lock(mutex_);
      workers.swap(workers_);
    }
    for (auto& worker : workers) worker.join();
  }

  void dataTask(platform::HttpRequest request, Completion completion) override {
    std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
    answerLater(reply_, std::move(completion));
  }
  /// Answered like a task, on a thread of its own, but not recorded as a request.
  void failTask(platform::PlatformError error, Completion completion) override {
    std::lock_guard lock(mutex_);
    answerLater({std::nullopt, std::nullopt, std::move(error)}, std::move(completion));
  }

  /// Later requests get this status and body.
  void respondWith(std::int64_t statusCode, std::string body = "") {
    std::lock_guard lock(mutex_);
    reply_ = {std::vector<std::uint8_t>(body.begin(), body.end()),
              platform::HttpResponse{statusCode, {}}, std::nullopt};
  }
  /// Later requests fail in transport with this error.
  void failWith(platform::PlatformError error) {
    std::lock_guard lock(mutex_);
    reply_ = {std::nullopt, std::nullopt, std::move(error)};
  }

  std::vector<platform::HttpRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  /// The body of the index-th request, parsed as JSON.
  nlohmann::json jsonBody(std::size_t index) const {
    std::lock_guard lock(mutex_);
    const auto& body = requests_.at(index).body;
    return body ? nlohmann::json::parse(*body) : nlohmann::json();
  }
  /// How many completions have been started.
  std::size_t answeredCount() const {
    std::lock_guard lock(mutex_);
    return answered_;
  }

 private:
  /// Called with mutex_ held.
  void answerLater(platform::HttpResult reply, Completion completion) {
    queue_->beginExternalWork();
    workers_.emplace_back([this, reply = std::move(reply), completion = std::move(completion)] {
      {
        std::lock_guard answeredLock(mutex_);
        ++answered_;
      }
      completion(reply);
      queue_->endExternalWork();
    });
  }

  const std::shared_ptr<platform::VirtualMainQueue> queue_;
  mutable std::mutex mutex_;
  platform::HttpResult reply_;
  std::vector<platform::HttpRequest> requests_;
  std::size_t answered_ = 0;
  std::vector<std::thread> workers_;
};

}  // namespace lumora::testing
