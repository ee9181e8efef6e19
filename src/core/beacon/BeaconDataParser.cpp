#include "core/beacon/BeaconDataParser.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kCompanyId = 0x1234;
constexpr std::uint8_t kFormatMarker = 0x03;
constexpr std::size_t kMinimumLength = 25;
constexpr std::size_t kBindingOffset = 3;
constexpr std::size_t kSpaceOffset = 6;
constexpr std::size_t kSpaceLength = 8;

}  // namespace

std::optional<BeaconIdentity> BeaconDataParser::parseIdentity(
    std::span<const std::uint8_t> data) noexcept {
  if (data.size() < 2) return std::nullopt;
  const std::int64_t companyId = data[0] | data[1] << 8;
  if (companyId != kCompanyId) return std::nullopt;
  if (data.size() < kMinimumLength || data[2] != kFormatMarker) return std::nullopt;

  const auto binding = data.subspan(kBindingOffset, 3);
  const std::int64_t bindingId = std::int64_t{binding[0]} << 16 | binding[1] << 8 | binding[2];
  std::uint64_t space = 0;
  for (const std::uint8_t byte : data.subspan(kSpaceOffset, kSpaceLength)) {
    space = space << 8 | byte;
  }
  return BeaconIdentity{companyId, space, bindingId};
}

std::optional<BeaconDataParser::BeaconData> BeaconDataParser::parseManufacturerData(
    std::span<const std::uint8_t> data) {
  const auto identity = parseIdentity(data);
  if (!identity) return std::nullopt;
  return BeaconData{identity->companyId, identity->spaceId(), identity->bindingId};
}

}  // namespace lumora
