#include "core/net/CreativeWebService.hpp"

#include <cmath>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "CreativeWebService";
constexpr std::string_view kGetCreativeFunction = "getCreative(by:completion:)";

using Json = nlohmann::json;

// A JSON number with an integral value that fits: 12 and 12.0 are integers,
// 12.5, "12", true and 1e300 are not.
std::optional<std::int64_t> integerValue(const Json& value) {
  if (value.is_number_integer()) {
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
      return std::nullopt;
    }
    return value.get<std::int64_t>();
  }
  if (value.is_number_float()) {
    const double number = value.get<double>();
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (std::trunc(number) == number && number >= -kLimit && number < kLimit) {
      return static_cast<std::int64_t>(number);
    }
  }
  return std::nullopt;
}

std::optional<std::int64_t> integerMember(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? std::nullopt : integerValue(*found);
}

std::optional<std::string> stringMember(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

// Present only when it is an object holding both fields as integers.
std::optional<Creative::FrequencyCapping> frequencyCappingMember(const Json& object) {
  const auto found = object.find("frequencyCapping");
  if (found == object.end() || !found->is_object()) return std::nullopt;
  const auto intervalHours = integerMember(*found, "intervalHours");
  const auto maxFrequency = integerMember(*found, "maxFrequency");
  if (!intervalHours || !maxFrequency) return std::nullopt;
  return Creative::FrequencyCapping{*intervalHours, *maxFrequency};
}

std::optional<Json> jsonObject(const HttpRequestSender::Body& body) {
  if (!body) return std::nullopt;
  Json json = Json::parse(body->begin(), body->end(), nullptr, false);
  if (json.is_discarded() || !json.is_object()) return std::nullopt;
  return json;
}

std::nullopt_t rejected(const char* message) {
  LUMORA_LOG(LogLevel::error, kLogFile, kGetCreativeFunction, message);
  return std::nullopt;
}

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
  const auto json = jsonObject(body);
  if (!json) return rejected("Invalid creative data format");
  auto title = stringMember(*json, "title");
  auto message = title ? stringMember(*json, "message") : std::nullopt;
  if (!message) return rejected("Invalid creative data format");
  const auto campaignId = integerMember(*json, "campaignId");
  if (!campaignId) return rejected("missing campaign-ID from Creative API");
  const auto creativeId = integerMember(*json, "creativeId");
  if (!creativeId) return rejected("missing creative-ID from Creative API");
  return Creative{*campaignId,
                  *creativeId,
                  std::move(*title),
                  std::move(*message),
                  stringMember(*json, "data"),
                  frequencyCappingMember(*json)};
}

}  // namespace lumora
