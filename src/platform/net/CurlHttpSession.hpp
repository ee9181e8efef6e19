#pragma once

#include <memory>
#include <thread>

#include "platform/HttpSession.hpp"
#include "platform/net/CurlHttpSessionOptions.hpp"

namespace lumora::platform {

/// The HTTP session on libcurl's multi interface, driven by one worker thread
/// that the session owns.
///
/// - Each data task starts at once; its completion runs exactly once, on the
///   worker thread, as does that of a task ended by failTask(). Connections
///   are kept alive and reused across requests.
/// - Only https: other URLs, and redirects to them, end in an error without
///   sending anything (see CurlTransfer). Certificates and host names are
///   always verified, against the system's store and the extra CA file.
/// - An extra CA file that cannot be used is logged once, at construction, and
///   left out; the system's store still serves every request.
/// - Transport failures, time-outs (HttpRequest::timeoutSeconds) and bodies over
///   the size limit complete with a PlatformError in the domain "CurlError",
///   whose code is libcurl's result code.
/// - Destruction with tasks in flight completes each of them, on the worker
///   thread and before the destructor returns, with a "CurlError" cancellation
///   (code CURLE_ABORTED_BY_CALLBACK). The destructor may run on the worker
///   thread itself (a completion releasing the last owner): the thread then
///   winds down on its own after the completion returns.
/// - At most CurlHttpSessionOptions::maxWaitingRequests tasks wait for a
///   connection; a task beyond that completes at once with a "CurlError"
///   (code CURLE_ABORTED_BY_CALLBACK) saying it was not sent.
class CurlHttpSession : public HttpSession {
 public:
  explicit CurlHttpSession(CurlHttpSessionOptions options = {});
  ~CurlHttpSession() override;
  CurlHttpSession(const CurlHttpSession&) = delete;
  CurlHttpSession& operator=(const CurlHttpSession&) = delete;

  void dataTask(HttpRequest request, Completion completion) override;
  void failTask(PlatformError error, Completion completion) override;

 private:
  class Worker;

  std::shared_ptr<Worker> worker_;
  std::thread thread_;
};

}  // namespace lumora::platform
