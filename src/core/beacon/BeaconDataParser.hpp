#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "core/beacon/BeaconIdentity.hpp"

namespace lumora {

/// Recognises the library's own beacons in the manufacturer-specific data of a
/// Bluetooth LE advertisement.
///
/// Layout (offsets from the first byte of the manufacturer data, which starts
/// with the company identifier):
///   0..1   company identifier 0x1234, little-endian (34 12)
///   2      format marker 0x03
///   3..5   binding identifier, unsigned 24-bit big-endian
///   6..13  space identifier, eight raw bytes
///   14..24 present but not interpreted (the payload is at least 25 bytes)
class BeaconDataParser {
 public:
  /// The beacon identity triple.
  struct BeaconData {
    /// Always 4660 (0x1234) for an accepted beacon.
    std::int64_t companyId = 0;
    /// Sixteen lower-case hexadecimal digits, the space bytes in payload order.
    std::string spaceId;
    /// The unsigned 24-bit binding identifier; never negative.
    std::int64_t bindingId = 0;

    friend bool operator==(const BeaconData&, const BeaconData&) = default;
  };

  /// The identity triple, or nothing when the bytes are not a custom beacon.
  /// Pure and thread-safe; rejects foreign data after two bytes and never
  /// reads past byte 13.
  static std::optional<BeaconData> parseManufacturerData(std::span<const std::uint8_t> data);
  /// The same recognition, giving the triple in packed form: no text is
  /// built, so an advertisement costs only the reading of its bytes. Defined
  /// here so that the scanner rejects foreign data without a call.
  static std::optional<BeaconIdentity> parseIdentity(std::span<const std::uint8_t> data) noexcept {
    if (data.size() < 2 || data[0] != kCompanyIdLow || data[1] != kCompanyIdHigh) {
      return std::nullopt;
    }
    if (data.size() < kMinimumLength || data[2] != kFormatMarker) return std::nullopt;
    const std::int64_t bindingId = std::int64_t{data[3]} << 16 | data[4] << 8 | data[5];
    std::uint64_t space = 0;
    for (const std::uint8_t byte : data.subspan(kSpaceOffset, kSpaceLength)) {
      space = space << 8 | byte;
    }
    return BeaconIdentity{kCompanyId, space, bindingId};
  }

 private:
  static constexpr std::int64_t kCompanyId = 0x1234;
  static constexpr std::uint8_t kCompanyIdLow = kCompanyId & 0xFF;
  static constexpr std::uint8_t kCompanyIdHigh = kCompanyId >> 8;
  static constexpr std::uint8_t kFormatMarker = 0x03;
  static constexpr std::size_t kMinimumLength = 25;
  static constexpr std::size_t kSpaceOffset = 6;
  static constexpr std::size_t kSpaceLength = 8;
};

}  // namespace lumora
