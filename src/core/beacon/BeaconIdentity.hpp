#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lumora {

/// A custom beacon's identity triple in packed form: the eight space bytes
/// held as one number, so that recognising, comparing and hashing a sighting
/// builds no text. The sixteen-digit space text is made only when asked for.
struct BeaconIdentity {
  static constexpr std::size_t kSpaceIdLength = 16;

  std::int64_t companyId = 0;
  /// The eight space bytes, the first byte of the payload most significant;
  /// equally the space text's sixteen digits read as one hexadecimal number.
  std::uint64_t space = 0;
  std::int64_t bindingId = 0;

  /// The identity whose space text is `spaceId`; nothing unless that is
  /// sixteen lower-case hexadecimal digits.
  static std::optional<BeaconIdentity> fromText(std::int64_t companyId, std::string_view spaceId,
                                                std::int64_t bindingId) noexcept;

  /// The space as sixteen lower-case hexadecimal digits, two per byte.
  std::string spaceId() const;
  /// Writes the same sixteen digits to the start of `out`.
  void writeSpaceId(std::span<char, kSpaceIdLength> out) const noexcept;

  friend bool operator==(const BeaconIdentity&, const BeaconIdentity&) = default;

  struct Hash {
    std::size_t operator()(const BeaconIdentity& identity) const noexcept;
  };
};

}  // namespace lumora
