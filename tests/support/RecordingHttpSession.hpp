#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
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
  explicit RecordingHttpSession(std::shared_ptr<platform::VirtualMainQueue> queue);
  /// Waits for every answer still on its way.
  ~RecordingHttpSession() override;

  void dataTask(platform::HttpRequest request, Completion completion) override;
  /// Answered like a task, on a thread of its own, but not recorded as a request.
  void failTask(platform::PlatformError error, Completion completion) override;

  /// Later requests get this status and body.
  void respondWith(std::int64_t statusCode, std::string body = "");
  /// Later requests fail in transport with this error.
  void failWith(platform::PlatformError error);

  std::vector<platform::HttpRequest> requests() const;
  /// The body of the index-th request, parsed as JSON.
  nlohmann::json jsonBody(std::size_t index) const;
  /// How many completions have been started.
  std::size_t answeredCount() const;

 private:
  /// Called with mutex_ held.
  void answerLater(platform::HttpResult reply, Completion completion);

  const std::shared_ptr<platform::VirtualMainQueue> queue_;
  mutable std::mutex mutex_;
  platform::HttpResult reply_;
  std::vector<platform::HttpRequest> requests_;
  std::size_t answered_ = 0;
  std::vector<std::thread> workers_;
};

}  // namespace lumora::testing
