#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace lumora::tools {

/// Hexadecimal text as people paste it from scanners and logs: an optional
/// leading "0x", and spaces, colons, hyphens or apostrophes anywhere between
/// the digits, e.g. "34:12:03 00'01'2C" -> 34 12 03 00 01 2c.
class HexText {
 public:
  /// The bytes; nothing when a character is neither a digit nor a separator,
  /// when there are no digits, or when their count is odd.
  static std::optional<std::vector<std::uint8_t>> parse(std::string_view text);
};

}  // namespace lumora::tools
