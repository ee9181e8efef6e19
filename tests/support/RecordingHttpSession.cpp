#include "support/RecordingHttpSession.hpp"

#include <utility>

namespace lumora::testing {

RecordingHttpSession::RecordingHttpSession(std::shared_ptr<platform::VirtualMainQueue> queue)
    : queue_(std::move(queue)) {
  respondWith(200);
}

RecordingHttpSession::~RecordingHttpSession() {
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(mutex_);
    workers.swap(workers_);
  }
  for (auto& worker : workers) worker.join();
}

void RecordingHttpSession::dataTask(platform::HttpRequest request, Completion completion) {
  std::lock_guard lock(mutex_);
  requests_.push_back(std::move(request));
  answerLater(reply_, std::move(completion));
}

void RecordingHttpSession::failTask(platform::PlatformError error, Completion completion) {
  std::lock_guard lock(mutex_);
  answerLater({std::nullopt, std::nullopt, std::move(error)}, std::move(completion));
}

void RecordingHttpSession::answerLater(platform::HttpResult reply, Completion completion) {
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

void RecordingHttpSession::respondWith(std::int64_t statusCode, std::string body) {
  std::lock_guard lock(mutex_);
  reply_ = {std::vector<std::uint8_t>(body.begin(), body.end()),
            platform::HttpResponse{statusCode, {}}, std::nullopt};
}

void RecordingHttpSession::failWith(platform::PlatformError error) {
  std::lock_guard lock(mutex_);
  reply_ = {std::nullopt, std::nullopt, std::move(error)};
}

std::vector<platform::HttpRequest> RecordingHttpSession::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

nlohmann::json RecordingHttpSession::jsonBody(std::size_t index) const {
  std::lock_guard lock(mutex_);
  const auto& body = requests_.at(index).body;
  return body ? nlohmann::json::parse(*body) : nlohmann::json();
}

std::size_t RecordingHttpSession::answeredCount() const {
  std::lock_guard lock(mutex_);
  return answered_;
}

}  // namespace lumora::testing
