// Feeds arbitrary bytes to the creative reply parser as the creative server's
// reply, and checks that an accepted creative says the same thing when written
// back as a reply and read again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

#include "FuzzCheck.hpp"
#include "core/net/CreativeReplyParser.hpp"

namespace {

using lumora::fuzz::check;

using lumora::Creative;
using lumora::CreativeReplyParser;

bool isRefusalText(std::string_view text) {
  return text == CreativeReplyParser::kInvalidFormat ||
         text == CreativeReplyParser::kMissingCampaignId ||
         text == CreativeReplyParser::kMissingCreativeId;
}

std::string replyFor(const Creative& creative) {
  nlohmann::json reply{{"campaignId", creative.campaignId},
                       {"creativeId", creative.creativeId},
                       {"title", creative.title},
                       {"message", creative.message}};
  if (creative.data) reply["data"] = *creative.data;
  if (creative.frequencyCapping) {
    reply["frequencyCapping"] = {{"intervalHours", creative.frequencyCapping->intervalHours},
                                 {"maxFrequency", creative.frequencyCapping->maxFrequency}};
  }
  return reply.dump();
}

bool sameCreative(const Creative& a, const Creative& b) {
  const auto cap = [](const Creative& c) {
    return c.frequencyCapping ? std::optional(std::pair(c.frequencyCapping->intervalHours,
                                                        c.frequencyCapping->maxFrequency))
                              : std::nullopt;
  };
  return a.campaignId == b.campaignId && a.creativeId == b.creativeId && a.title == b.title &&
         a.message == b.message && a.data == b.data && cap(a) == cap(b);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto parsed = CreativeReplyParser::parse(std::span(data, size));
  if (const auto* refusal = std::get_if<std::string_view>(&parsed)) {
    check(isRefusalText(*refusal));
    return 0;
  }
  const auto& creative = std::get<Creative>(parsed);
  const std::string again = replyFor(creative);
  const auto reread = CreativeReplyParser::parse(
      std::span(reinterpret_cast<const std::uint8_t*>(again.data()), again.size()));
  check(std::holds_alternative<Creative>(reread));
  check(sameCreative(std::get<Creative>(reread), creative));
  return 0;
}
