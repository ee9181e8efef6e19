#include "core/beacon/BeaconDataParser.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kCompanyId = 0x1234;
constexpr std::uint8_t kFormatMarker = 0x03;
constexpr std::size_t kMinimumLength = 25;
constexpr std::size_t kBindingOffset = 3;
constexpr std::size_t kSpaceOffset = 6;
constexpr std::size_t kSpaceLength = 8;

std::string hexText(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(bytes.size() * 2, '0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = kDigits[bytes[i] >> 4];
    text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
  }
  return text;
}

}  // namespace

std::optional<BeaconDataParser::BeaconData> BeaconDataParser::parseManufacturerData(
    std::span<const std::uint8_t> data) {
  if (data.size() < 2) return std::nullopt;
  const std::int64_t companyId = data[0] | data[1] << 8;
  if (companyId != kCompanyId) return std::nullopt;
  if (data.size() < kMinimumLength || data[2] != kFormatMarker) return std::nullopt;

  const auto binding = data.subspan(kBindingOffset, 3);
  const std::int64_t bindingId = std::int64_t{binding[0]} << 16 | binding[1] << 8 | binding[2];
  return BeaconData{companyId, hexText(data.subspan(kSpaceOffset, kSpaceLength)), bindingId};
}

}  // namespace lumora
