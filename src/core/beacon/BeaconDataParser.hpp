#pragma once

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
  /// built, so an advertisement costs only the reading of its bytes.
  static std::optional<BeaconIdentity> parseIdentity(std::span<const std::uint8_t> data) noexcept;
};

}  // namespace lumora
