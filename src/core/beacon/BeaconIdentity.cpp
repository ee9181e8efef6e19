#include "core/beacon/BeaconIdentity.hpp"

namespace lumora {
namespace {

/// 0 to 15 for a lower-case hexadecimal digit, -1 for anything else.
int hexDigitValue(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

}  // namespace

std::optional<BeaconIdentity> BeaconIdentity::fromText(std::int64_t companyId,
                                                       std::string_view spaceId,
                                                       std::int64_t bindingId) noexcept {
  if (spaceId.size() != kSpaceIdLength) return std::nullopt;
  std::uint64_t space = 0;
  for (const char digit : spaceId) {
    const int value = hexDigitValue(digit);
    if (value < 0) return std::nullopt;
    space = space << 4 | static_cast<std::uint64_t>(value);
  }
  return BeaconIdentity{companyId, space, bindingId};
}

void BeaconIdentity::writeSpaceId(std::span<char, kSpaceIdLength> out) const noexcept {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < kSpaceIdLength; ++i) {
    out[i] = kDigits[(space >> (60 - 4 * i)) & 0x0F];
  }
}

std::string BeaconIdentity::spaceId() const {
  std::string text(kSpaceIdLength, '0');
  writeSpaceId(std::span<char, kSpaceIdLength>(text.data(), kSpaceIdLength));
  return text;
}

std::size_t BeaconIdentity::Hash::operator()(const BeaconIdentity& identity) const noexcept {
  // The space is already well spread; the small identifiers are spread with
  // odd multipliers before they are mixed in.
  std::uint64_t hash = identity.space;
  hash ^= static_cast<std::uint64_t>(identity.bindingId) * 0x9E3779B97F4A7C15ULL;
  hash ^= static_cast<std::uint64_t>(identity.companyId) * 0xC2B2AE3D27D4EB4FULL;
  return static_cast<std::size_t>(hash ^ hash >> 29);
}

}  // namespace lumora
