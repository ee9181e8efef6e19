#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/PlatformError.hpp"

namespace lumora::platform {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string url;
  std::string method = "GET";
  HttpHeaders headers;  // in order; a repeated name is sent repeatedly
  std::optional<std::vector<std::uint8_t>> body;
  double timeoutSeconds = 60.0;
};

struct HttpResponse {
  std::int64_t statusCode = 0;
  HttpHeaders headers;
};

/// How a data task ended: a transport error, or a response with its body.
struct HttpResult {
  std::optional<std::vector<std::uint8_t>> body;
  std::optional<HttpResponse> response;
  std::optional<PlatformError> error;
};

/// An HTTP client session. Each data task starts at once; its completion runs
/// exactly once, on the session's own worker thread (the networking queue).
class HttpSession {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpSession() = default;
  virtual void dataTask(HttpRequest request, Completion completion) = 0;
  /// Ends a task that could not even be started (its request could not be
  /// formed) with this error, the way any task ends: later, on the worker
  /// thread, never inside this call.
  virtual void failTask(PlatformError error, Completion completion) = 0;
};

}  // namespace lumora::platform
