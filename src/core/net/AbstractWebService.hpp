#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "core/config/APIConfiguration.hpp"
#include "core/net/HttpMethod.hpp"
#include "core/net/HttpRequestSender.hpp"
#include "platform/UrlToolkit.hpp"

namespace lumora {

/// The base of the web services: the endpoint configuration, the sender that
/// runs their requests, and the URL toolkit their requests are formed with.
class AbstractWebService {
 public:
  using Parameters = std::map<std::string, std::string>;

  AbstractWebService(APIConfiguration apiConfig, std::shared_ptr<HttpRequestSender> requestSender,
                     std::shared_ptr<const platform::UrlToolkit> urls);
  virtual ~AbstractWebService() = default;

  /// A fresh builder driven with these values; nothing when the URL cannot be
  /// formed.
  std::optional<platform::HttpRequest> buildRequest(
      const std::string& baseURL, const std::optional<std::string>& path, HttpMethod method,
      const Parameters& headers, const Parameters& queryParameters,
      const std::optional<nlohmann::json>& bodyParameters) const;

 protected:
  /// The message of the error a request that could not be formed ends with.
  static constexpr const char* kInvalidURLDescription = "Invalid URL";

  /// Runs a built request. One that could not be formed completes like any
  /// other, later and on the session's worker thread, with an error in the
  /// sender's domain, code 0, "Invalid URL".
  template <class T>
  void execute(std::optional<platform::HttpRequest> request,
               HttpRequestSender::ResponseHandler<T> responseHandler,
               HttpRequestSender::Completion<T> completion) const {
    if (!request) {
      requestSender_->fail<T>(
          platform::PlatformError{HttpRequestSender::kErrorDomain, 0, kInvalidURLDescription},
          std::move(completion));
      return;
    }
    requestSender_->execute<T>(std::move(*request), std::move(responseHandler),
                               std::move(completion));
  }

  const APIConfiguration& apiConfig() const noexcept { return apiConfig_; }

 private:
  const APIConfiguration apiConfig_;
  const std::shared_ptr<HttpRequestSender> requestSender_;
  const std::shared_ptr<const platform::UrlToolkit> urls_;
};

}  // namespace lumora
