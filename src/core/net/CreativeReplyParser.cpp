#include "core/net/CreativeReplyParser.hpp"

#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

namespace lumora {
namespace {

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

// The reply as a JSON object. Containers beyond the depth limit are never
// built, so memory stays proportional to a sensible reply.
std::optional<Json> jsonObject(std::span<const std::uint8_t> reply) {
  bool tooDeep = false;
  const Json::parser_callback_t limitDepth = [&tooDeep](int depth, Json::parse_event_t event,
                                                        Json&) {
    const bool opens =
        event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
    if (opens && depth > CreativeReplyParser::kMaxDepth) tooDeep = true;
    return !tooDeep;
  };
  Json json = Json::parse(reply.begin(), reply.end(), limitDepth, false);
  if (tooDeep || json.is_discarded() || !json.is_object()) return std::nullopt;
  return json;
}

}  // namespace

std::variant<Creative, std::string_view> CreativeReplyParser::parse(
    std::span<const std::uint8_t> reply) {
  const auto json = jsonObject(reply);
  if (!json) return kInvalidFormat;
  auto title = stringMember(*json, "title");
  auto message = title ? stringMember(*json, "message") : std::nullopt;
  if (!message) return kInvalidFormat;
  const auto campaignId = integerMember(*json, "campaignId");
  if (!campaignId) return kMissingCampaignId;
  const auto creativeId = integerMember(*json, "creativeId");
  if (!creativeId) return kMissingCreativeId;
  return Creative{*campaignId,
                  *creativeId,
                  std::move(*title),
                  std::move(*message),
                  stringMember(*json, "data"),
                  frequencyCappingMember(*json)};
}

}  // namespace lumora
