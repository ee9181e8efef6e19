#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// One delivered creative as the host sees it.
class LUMORA_EXPORT LumoraAdCreative {
 public:
  /// A creative record; the library builds these, hosts may for tests.
  LumoraAdCreative(std::optional<std::string> data, std::int64_t creativeId, std::int64_t bindingId,
                   std::int64_t campaignId, std::string spaceId);

  /// The creative server's opaque payload; absent when the server sent none.
  const std::optional<std::string>& data() const noexcept;
  /// The creative's identifier on the creative server.
  std::int64_t creativeId() const noexcept;
  /// The binding identifier of the beacon that triggered the creative.
  std::int64_t bindingId() const noexcept;
  /// The campaign the creative belongs to.
  std::int64_t campaignId() const noexcept;
  /// The space identifier of the beacon that triggered the creative.
  const std::string& spaceId() const noexcept;

 private:
  std::optional<std::string> data_;
  std::int64_t creativeId_;
  std::int64_t bindingId_;
  std::int64_t campaignId_;
  std::string spaceId_;
};

}  // namespace lumora
