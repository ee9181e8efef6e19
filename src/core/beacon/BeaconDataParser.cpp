#include "core/beacon/BeaconDataParser.hpp"

namespace lumora {

std::optional<BeaconDataParser::BeaconData> BeaconDataParser::parseManufacturerData(
    std::span<const std::uint8_t> data) {
  const auto identity = parseIdentity(data);
  if (!identity) return std::nullopt;
  return BeaconData{identity->companyId, identity->spaceId(), identity->bindingId};
}

}  // namespace lumora
