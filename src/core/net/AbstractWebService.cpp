#include "core/net/AbstractWebService.hpp"

#include "core/net/HttpRequestBuilder.hpp"

namespace lumora {

AbstractWebService::AbstractWebService(APIConfiguration apiConfig,
                                       std::shared_ptr<HttpRequestSender> requestSender,
                                       std::shared_ptr<const platform::UrlToolkit> urls)
    : apiConfig_(std::move(apiConfig)),
      requestSender_(std::move(requestSender)),
      urls_(std::move(urls)) {}

std::optional<platform::HttpRequest> AbstractWebService::buildRequest(
    const std::string& baseURL, const std::optional<std::string>& path, HttpMethod method,
    const Parameters& headers, const Parameters& queryParameters,
    const std::optional<nlohmann::json>& bodyParameters) const {
  HttpRequestBuilder builder(urls_, baseURL);
  builder.setMethod(method);
  if (path) builder.setPath(*path);
  for (const auto& [key, value] : headers) builder.addHeader(key, value);
  for (const auto& [key, value] : queryParameters) builder.addQueryParameter(key, value);
  if (bodyParameters) builder.setBodyParameters(*bodyParameters);
  return builder.build();
}

}  // namespace lumora
