#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/net/HttpMethod.hpp"
#include "platform/HttpSession.hpp"
#include "platform/UrlToolkit.hpp"

namespace lumora {

/// Turns a base URL, an optional path component, query parameters, headers and
/// an optional JSON body into one request. Setters chain; build() once.
///
///   auto request = HttpRequestBuilder(urls, "https://events.example/v1")
///                      .setPath("device_events")
///                      .setMethod(HttpMethod::post)
///                      .setBodyParameters(body)
///                      .build();
class HttpRequestBuilder {
 public:
  static constexpr double kTimeoutSeconds = 60.0;

  HttpRequestBuilder(std::shared_ptr<const platform::UrlToolkit> urls, std::string baseURL);

  /// One extra path component, appended with exactly one "/" before it.
  HttpRequestBuilder& setPath(std::string path);
  HttpRequestBuilder& setMethod(HttpMethod method);
  /// A repeated key replaces the earlier value.
  HttpRequestBuilder& addHeader(const std::string& key, std::string value);
  /// A repeated key replaces the earlier value.
  HttpRequestBuilder& addQueryParameter(const std::string& key, std::string value);
  HttpRequestBuilder& setBodyParameters(nlohmann::json bodyParameters);

  /// The request: the caller's headers, then "Content-Type: application/json"
  /// on every request, a 60-second time-out, and the body as compact JSON.
  /// Query parameters replace any query of the base URL; without any, the URL
  /// stays as it is. Nothing when the URL cannot be formed (it does not parse).
  std::optional<platform::HttpRequest> build() const;

 private:
  std::optional<std::string> formURL() const;
  std::optional<std::vector<std::uint8_t>> serializedBody() const;

  std::shared_ptr<const platform::UrlToolkit> urls_;
  std::string urlString_;
  std::optional<std::string> path_;
  HttpMethod method_ = HttpMethod::get;
  std::map<std::string, std::string> headers_;
  std::map<std::string, std::string> queryParameters_;
  std::optional<nlohmann::json> bodyParameters_;
};

}  // namespace lumora
