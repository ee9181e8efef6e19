#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumora::platform {

/// A standard iBeacon advertisement as carried in manufacturer-specific data
/// (25 bytes, the first two being the company identifier):
///   0..1   4C 00    company identifier 0x004C, little-endian
///   2..3   02 15    iBeacon type, length of the rest (21 bytes)
///   4..19           proximity UUID, 16 bytes in network order
///   20..21          major, big-endian
///   22..23          minor, big-endian
///   24              measured power at 1 m, signed dBm
///
///   auto frame = IBeaconFrame::parse(*advertisement.manufacturerData);
///   if (frame) use(frame->proximityUuid, frame->major, frame->minor);
struct IBeaconFrame {
  static constexpr std::size_t kLength = 25;

  /// Canonical upper-case text, 8-4-4-4-12.
  std::string proximityUuid;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  std::int8_t measuredPower = -59;

  /// The frame, or nothing when the bytes are not an iBeacon. Bytes after the
  /// 25th are ignored.
  static std::optional<IBeaconFrame> parse(std::span<const std::uint8_t> manufacturerData);
  /// The manufacturer data that carries this frame. Throws
  /// std::invalid_argument when proximityUuid is not a UUID (either case).
  std::vector<std::uint8_t> encode() const;

  friend bool operator==(const IBeaconFrame&, const IBeaconFrame&) = default;
};

}  // namespace lumora::platform
