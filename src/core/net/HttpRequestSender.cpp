#include "core/net/HttpRequestSender.hpp"

#include <string>

namespace lumora {

HttpRequestSender::HttpRequestSender(std::shared_ptr<platform::HttpSession> session)
    : session_(std::move(session)) {}

std::optional<platform::PlatformError> HttpRequestSender::failureOf(
    const platform::HttpResult& result) {
  if (result.error) return result.error;
  if (!result.response) return platform::PlatformError{kErrorDomain, 0, "Invalid HTTP response"};
  const std::int64_t status = result.response->statusCode;
  if (status >= 200 && status <= 299) return std::nullopt;
  return platform::PlatformError{kErrorDomain, status, "HTTP error: " + std::to_string(status)};
}

}  // namespace lumora
