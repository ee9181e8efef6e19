// Feeds arbitrary manufacturer data to the custom-beacon parser and checks
// what a parsed triple must always satisfy.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "FuzzCheck.hpp"
#include "core/beacon/BeaconDataParser.hpp"

namespace {

using lumora::fuzz::check;

bool isLowerHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const auto parsed = lumora::BeaconDataParser::parseManufacturerData(bytes);
  if (!parsed) return 0;

  check(size >= 25 && data[0] == 0x34 && data[1] == 0x12 && data[2] == 0x03);
  check(parsed->companyId == 4660);
  check(parsed->bindingId >= 0 && parsed->bindingId < (1 << 24));
  check(parsed->spaceId.size() == 16);
  for (char c : parsed->spaceId) check(isLowerHex(c));
  // The packed identity the detection path uses is the one its text names.
  check(lumora::BeaconIdentity::fromText(parsed->companyId, parsed->spaceId, parsed->bindingId) ==
        lumora::BeaconDataParser::parseIdentity(bytes));

  // Bytes from offset 14 on only count toward the length.
  std::vector<std::uint8_t> blanked(bytes.begin(), bytes.end());
  std::fill(blanked.begin() + 14, blanked.end(), 0);
  check(lumora::BeaconDataParser::parseManufacturerData(blanked) == parsed);
  return 0;
}
