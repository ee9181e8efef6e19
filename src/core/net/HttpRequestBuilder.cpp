#include "core/net/HttpRequestBuilder.hpp"

#include <string_view>
#include <utility>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "HttpRequestBuilder";
constexpr std::string_view kBuildFunction = "build()";

}  // namespace

HttpRequestBuilder::HttpRequestBuilder(std::shared_ptr<const platform::UrlToolkit> urls,
                                       std::string baseURL)
    : urls_(std::move(urls)), urlString_(std::move(baseURL)) {}

HttpRequestBuilder& HttpRequestBuilder::setPath(std::string path) {
  path_ = std::move(path);
  return *this;
}

HttpRequestBuilder& HttpRequestBuilder::setMethod(HttpMethod method) {
  method_ = method;
  return *this;
}

HttpRequestBuilder& HttpRequestBuilder::addHeader(const std::string& key, std::string value) {
  headers_[key] = std::move(value);
  return *this;
}

HttpRequestBuilder& HttpRequestBuilder::addQueryParameter(const std::string& key,
                                                          std::string value) {
  queryParameters_[key] = std::move(value);
  return *this;
}

HttpRequestBuilder& HttpRequestBuilder::setBodyParameters(nlohmann::json bodyParameters) {
  bodyParameters_ = std::move(bodyParameters);
  return *this;
}

std::optional<platform::HttpRequest> HttpRequestBuilder::build() const {
  auto url = formURL();
  if (!url) return std::nullopt;
  platform::HttpRequest request;
  request.url = std::move(*url);
  request.method = std::string(rawValue(method_));
  request.timeoutSeconds = kTimeoutSeconds;
  request.headers.assign(headers_.begin(), headers_.end());
  request.headers.emplace_back("Content-Type", "application/json");
  request.body = serializedBody();
  return request;
}

std::optional<std::string> HttpRequestBuilder::formURL() const {
  if (!urls_) return std::nullopt;
  auto url = urls_->normalized(urlString_);
  if (url && path_) url = urls_->appendingPathComponent(*url, *path_);
  if (url && !queryParameters_.empty()) {
    url = urls_->replacingQuery(
        *url, platform::UrlToolkit::QueryItems(queryParameters_.begin(), queryParameters_.end()));
  }
  return url;
}

// A body that cannot be serialised (text that is not UTF-8) is logged and left
// out; the request still goes.
std::optional<std::vector<std::uint8_t>> HttpRequestBuilder::serializedBody() const {
  if (!bodyParameters_) return std::nullopt;
  std::string text;
  try {
    text = bodyParameters_->dump();
  } catch (const nlohmann::json::exception& error) {
    LUMORA_LOG(LogLevel::error, kLogFile, kBuildFunction,
               "Error serializing body parameters: " + std::string(error.what()));
    return std::nullopt;
  }
  LUMORA_LOG(LogLevel::debug, kLogFile, kBuildFunction, "JSON Body: " + text);
  return std::vector<std::uint8_t>(text.begin(), text.end());
}

}  // namespace lumora
