#include "lumora/LumoraAdCreative.hpp"

#include <utility>

namespace lumora {

LumoraAdCreative::LumoraAdCreative(std::optional<std::string> data, std::int64_t creativeId,
                                   std::int64_t bindingId, std::int64_t campaignId,
                                   std::string spaceId)
    : data_(std::move(data)),
      creativeId_(creativeId),
      bindingId_(bindingId),
      campaignId_(campaignId),
      spaceId_(std::move(spaceId)) {}

const std::optional<std::string>& LumoraAdCreative::data() const noexcept { return data_; }
std::int64_t LumoraAdCreative::creativeId() const noexcept { return creativeId_; }
std::int64_t LumoraAdCreative::bindingId() const noexcept { return bindingId_; }
std::int64_t LumoraAdCreative::campaignId() const noexcept { return campaignId_; }
const std::string& LumoraAdCreative::spaceId() const noexcept { return spaceId_; }

}  // namespace lumora
