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

/// An HTTP session that records every request and answers each with the
/// reply scripted at the time it was started (200 with an empty body unless
/// told otherwise). Like the real session it never completes inline: each
/// completion runs on a thread of its own. While a request is unanswered the
/// virtual main queue counts it as external work, so running the queue waits
/// for the answer instead of moving the clock past it.
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
  /// Starts the thread that completes with reply. Called with mutex_ held.
  void answerLater(platform::HttpResult reply, Completion completion);

  const std::shared_ptr<platform::VirtualMainQueue> queue_;
  mutable std::mutex mutex_;
  platform::HttpResult reply_;
  std::vector<platform::HttpRequest> requests_;
  std::size_t answered_ = 0;
  std::vector<std::thread> workers_;
};

}  // namespace lumora::testing
