// lumora-decode HEX
// Decodes the manufacturer data of a custom beacon advertisement, e.g.
//   lumora-decode 341203'00012C'0A1B2C3D4E5F6071'0000000000000000000000
// prints "companyId=4660 spaceId=0a1b2c3d4e5f6071 bindingId=300".
// Spaces, colons, hyphens and apostrophes between digits are ignored, as is a
// leading "0x". Exit status: 0 decoded, 1 not valid hex or not a Lumora
// beacon, 2 usage.

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/beacon/BeaconDataParser.hpp"

namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isSeparator(char c) { return c == ' ' || c == ':' || c == '-' || c == '\''; }

std::optional<std::vector<std::uint8_t>> parseHex(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  std::string digits;
  for (char c : text) {
    if (isSeparator(c)) continue;
    if (hexValue(c) < 0) return std::nullopt;
    digits += c;
  }
  if (digits.empty() || digits.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(hexValue(digits[i]) << 4 | hexValue(digits[i + 1])));
  }
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: lumora-decode HEX\n";
    return 2;
  }
  const auto bytes = parseHex(argv[1]);
  if (!bytes) {
    std::cerr << "not valid hex: '" << argv[1] << "'\n";
    return 1;
  }
  const auto beacon = lumora::BeaconDataParser::parseManufacturerData(*bytes);
  if (!beacon) {
    std::cerr << "not a Lumora beacon: expected at least 25 bytes starting 34 12 03, got "
              << bytes->size() << " byte(s)\n";
    return 1;
  }
  std::cout << "companyId=" << beacon->companyId << " spaceId=" << beacon->spaceId
            << " bindingId=" << beacon->bindingId << "\n";
  return 0;
}
