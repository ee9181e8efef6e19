#pragma once

#include <memory>

#include "platform/HttpSession.hpp"
#include "platform/sim/VirtualMainQueue.hpp"

namespace lumora::platform {

/// Wraps a real HTTP session so that virtual time stands still while a request
/// is in flight: each data task counts as external work on the virtual main
/// queue until its completion has run (and posted whatever it posts).
class TrackedHttpSession : public HttpSession {
 public:
  TrackedHttpSession(std::shared_ptr<HttpSession> session, std::shared_ptr<VirtualMainQueue> queue);

  void dataTask(HttpRequest request, Completion completion) override;
  void failTask(PlatformError error, Completion completion) override;

 private:
  /// The completion, then the end of the external work it stood for.
  Completion tracked(Completion completion) const;

  std::shared_ptr<HttpSession> session_;
  std::shared_ptr<VirtualMainQueue> queue_;
};

}  // namespace lumora::platform
