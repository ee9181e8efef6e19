#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "core/net/Creative.hpp"

namespace lumora {

/// Decodes the creative server's JSON reply into a Creative: "title" and
/// "message" strings and "campaignId" and "creativeId" integers are required;
/// "data" is kept when it is a string, "frequencyCapping" when it is an object
/// with integer "intervalHours" and "maxFrequency"; other keys are ignored.
/// A pure function over the reply's bytes.
class CreativeReplyParser {
 public:
  /// Replies nested deeper than this are refused without being built.
  static constexpr int kMaxDepth = 32;

  static constexpr std::string_view kInvalidFormat = "Invalid creative data format";
  static constexpr std::string_view kMissingCampaignId = "missing campaign-ID from Creative API";
  static constexpr std::string_view kMissingCreativeId = "missing creative-ID from Creative API";

  /// The creative, or why the reply was refused (one of the texts above):
  /// not a JSON object (or empty, or too deep), title or message missing or
  /// not a string, then campaignId, then creativeId missing or not an integer.
  static std::variant<Creative, std::string_view> parse(std::span<const std::uint8_t> reply);
};

}  // namespace lumora
