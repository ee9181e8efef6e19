#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/HttpSession.hpp"

namespace lumora {

/// Runs requests on an HTTP session and sorts each outcome: a transport error
/// is passed through unchanged; a status outside 200-299 becomes an error in
/// the domain "LumoraBeaconSDK" whose code is the status ("HTTP error: 503");
/// a missing response becomes code 0, "Invalid HTTP response". Only a 2xx
/// response reaches the response handler.
class HttpRequestSender {
 public:
  static constexpr const char* kErrorDomain = "LumoraBeaconSDK";

  using Body = std::optional<std::vector<std::uint8_t>>;
  template <class T>
  using ResponseHandler =
      std::function<std::optional<T>(const Body&, const platform::HttpResponse&)>;
  template <class T>
  using Completion = std::function<void(std::optional<T>, std::optional<platform::PlatformError>)>;

  explicit HttpRequestSender(std::shared_ptr<platform::HttpSession> session);

  /// Starts the request and returns at once. The completion runs exactly once,
  /// on the session's worker thread, with the handler's value for a 2xx
  /// response (which may be nothing) or with an error.
  template <class T>
  void execute(platform::HttpRequest request, ResponseHandler<T> responseHandler,
               Completion<T> completion) const {
    session_->dataTask(std::move(request),
                       [responseHandler = std::move(responseHandler),
                        completion = std::move(completion)](platform::HttpResult result) {
                         if (auto error = failureOf(result)) {
                           completion(std::nullopt, std::move(error));
                         } else {
                           completion(responseHandler(result.body, *result.response), std::nullopt);
                         }
                       });
  }

  /// Completes with this error, as a task that failed would: later, on the
  /// session's worker thread, never inside this call.
  template <class T>
  void fail(platform::PlatformError error, Completion<T> completion) const {
    session_->failTask(std::move(error),
                       [completion = std::move(completion)](platform::HttpResult result) {
                         completion(std::nullopt, std::move(result.error));
                       });
  }

  /// The error a finished task ends with, or nothing for a 2xx response.
  static std::optional<platform::PlatformError> failureOf(const platform::HttpResult& result);

 private:
  std::shared_ptr<platform::HttpSession> session_;
};

}  // namespace lumora
