// lumora-decode HEX
// Decodes the manufacturer data of a custom beacon advertisement, e.g.
//   lumora-decode 341203'00012C'0A1B2C3D4E5F6071'0000000000000000000000
// prints "companyId=4660 spaceId=0a1b2c3d4e5f6071 bindingId=300".
// Spaces, colons, hyphens and apostrophes between digits are ignored, as is a
// leading "0x". Exit status: 0 decoded, 1 not valid hex or not a Lumora
// beacon, 2 usage.

#include <iostream>

#include "core/beacon/BeaconDataParser.hpp"
#include "lumora-decode/HexText.hpp"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: lumora-decode HEX\n";
    return 2;
  }
  const auto bytes = lumora::tools::HexText::parse(argv[1]);
  if (!bytes) {
    std::cerr << "not valid hex (digits 0-9 a-f, separators space : - ')\n";
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
