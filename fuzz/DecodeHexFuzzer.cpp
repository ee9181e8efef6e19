// Feeds arbitrary text to lumora-decode's input parsing and the beacon parser
// behind it, and checks that accepted text round-trips.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "FuzzCheck.hpp"
#include "core/beacon/BeaconDataParser.hpp"
#include "lumora-decode/HexText.hpp"

using lumora::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto bytes = lumora::tools::HexText::parse(text);
  if (!bytes) return 0;
  check(!bytes->empty() && bytes->size() * 2 <= text.size());
  std::string plain;
  constexpr const char* kDigits = "0123456789abcdef";
  for (std::uint8_t byte : *bytes) {
    plain += kDigits[byte >> 4];
    plain += kDigits[byte & 0xf];
  }
  check(lumora::tools::HexText::parse(plain) == bytes);
  lumora::BeaconDataParser::parseManufacturerData(*bytes);
  return 0;
}
