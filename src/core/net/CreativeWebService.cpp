#include "core/net/CreativeWebService.hpp"

#include <span>
#include <string_view>
#include <utility>
#include <variant>

#include "core/net/CreativeReplyParser.hpp"
#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "CreativeWebService";
constexpr std::string_view kGetCreativeFunction = "getCreative(by:completion:)";

LumoraAdBeaconError errorFor(const platform::PlatformError& error) {
  switch (error.code) {
    case 403:
      return LumoraAdBeaconError(LumoraAdBeaconErrorType::forbiddenFetchCreative,
                                 "Cannot fetch creative data, insufficient permissions.");
    case 404:
      return LumoraAdBeaconError(LumoraAdBeaconErrorType::notFoundCreative,
                                 "Creative data not found.");
    default:
      return LumoraAdBeaconError(LumoraAdBeaconErrorType::unknown, error.localizedDescription);
  }
}

}  // namespace

std::string CreativeWebService::formatBindingId(std::int64_t bindingId) {
  std::string formatted;
  for (const char digit : std::to_string(bindingId)) {
    if (!formatted.empty()) formatted += '/';
    formatted += digit;
  }
  return formatted;
}

std::string CreativeWebService::creativeURL(std::int64_t bindingId) const {
  return "https://" + apiConfig().getCreativeCDNURL() + "/" + apiConfig().getCreativeBucketName() +
         "/binding/" + formatBindingId(bindingId) + "/ios.json";
}

void CreativeWebService::getCreative(std::int64_t bindingId, Completion completion) const {
  auto request =
      buildRequest(creativeURL(bindingId), std::nullopt, HttpMethod::get, {}, {}, std::nullopt);
  execute<Creative>(
      std::move(request),
      [](const HttpRequestSender::Body& body, const platform::HttpResponse&) {
        return parseCreative(body);
      },
      [completion = std::move(completion)](std::optional<Creative> creative,
                                           std::optional<platform::PlatformError> error) {
        if (creative) {
          completion(std::move(creative), std::nullopt);
        } else if (error) {
          completion(std::nullopt, errorFor(*error));
        } else {
          completion(std::nullopt, LumoraAdBeaconError(LumoraAdBeaconErrorType::invalidCreative,
                                                       "Invalid Creative data format"));
        }
      });
}

std::optional<Creative> CreativeWebService::parseCreative(const HttpRequestSender::Body& body) {
  const auto bytes = body ? std::span<const std::uint8_t>(*body) : std::span<const std::uint8_t>();
  auto parsed = CreativeReplyParser::parse(bytes);
  if (auto* creative = std::get_if<Creative>(&parsed)) return std::move(*creative);
  LUMORA_LOG(LogLevel::error, kLogFile, kGetCreativeFunction, std::get<std::string_view>(parsed));
  return std::nullopt;
}

}  // namespace lumora
