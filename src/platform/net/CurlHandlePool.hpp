#pragma once

#include <curl/curl.h>

#include <memory>
#include <vector>

namespace lumora::platform {

/// Releases a libcurl easy handle.
struct CurlEasyCleanup {
  void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
using CurlEasyHandle = std::unique_ptr<CURL, CurlEasyCleanup>;

/// Easy handles kept for reuse by one worker thread. A handle given back is
/// reset to libcurl's defaults, so that no option of one request reaches the
/// next, while its buffers stay allocated: a steady stream of requests then
/// allocates and frees nothing per request for its handle, and the handles
/// live and die on the thread that uses them. The pool never holds more
/// handles than were in use at once, which its user bounds.
class CurlHandlePool {
 public:
  /// An idle handle, or a new one; null when libcurl cannot make one.
  CurlEasyHandle take();
  void give(CurlEasyHandle easy);

 private:
  std::vector<CurlEasyHandle> idle_;
};

}  // namespace lumora::platform
