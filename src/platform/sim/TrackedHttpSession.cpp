#include "platform/sim/TrackedHttpSession.hpp"

#include <utility>

namespace lumora::platform {

TrackedHttpSession::TrackedHttpSession(std::shared_ptr<HttpSession> session,
                                       std::shared_ptr<VirtualMainQueue> queue)
    : session_(std::move(session)), queue_(std::move(queue)) {}

void TrackedHttpSession::dataTask(HttpRequest request, Completion completion) {
  queue_->beginExternalWork();
  session_->dataTask(std::move(request), tracked(std::move(completion)));
}

void TrackedHttpSession::failTask(PlatformError error, Completion completion) {
  queue_->beginExternalWork();
  session_->failTask(std::move(error), tracked(std::move(completion)));
}

HttpSession::Completion TrackedHttpSession::tracked(Completion completion) const {
  return [queue = queue_, completion = std::move(completion)](HttpResult result) {
    completion(std::move(result));
    queue->endExternalWork();
  };
}

}  // namespace lumora::platform
