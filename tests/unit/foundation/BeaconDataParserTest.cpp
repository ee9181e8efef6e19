#include <gtest/gtest.h>

#include <vector>

#include "core/beacon/BeaconDataParser.hpp"

namespace lumora {
namespace {

using Bytes = std::vector<std::uint8_t>;

// 34 12 | 03 | 00 01 2C | 0A 1B 2C 3D 4E 5F 60 71 | eleven trailing bytes.
Bytes validPayload() {
  Bytes bytes{0x34, 0x12, 0x03, 0x00, 0x01, 0x2C, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F, 0x60, 0x71};
  bytes.resize(25, 0xEE);
  return bytes;
}

std::optional<BeaconDataParser::BeaconData> parse(const Bytes& bytes) {
  return BeaconDataParser::parseManufacturerData(bytes);
}

TEST(BeaconDataParserTest, RejectsShortForeignAndMismarkedPayloads) {
  const auto changed = [](std::size_t index, std::uint8_t value) {
    Bytes bytes = validPayload();
    bytes[index] = value;
    return bytes;
  };
  Bytes shortByOne = validPayload();
  shortByOne.pop_back();
  Bytes swapped = validPayload();
  std::swap(swapped[0], swapped[1]);  // the company identifier is little-endian
  Bytes longForeign(64, 0x03);
  longForeign[0] = 0x12;
  longForeign[1] = 0x34;
  const Bytes rejected[] = {{},
                            {0x34},
                            shortByOne,
                            swapped,
                            changed(2, 0x02),
                            changed(2, 0x04),
                            {0x4C, 0x00, 0x02, 0x15},  // Apple's, with an iBeacon-like body
                            longForeign};
  for (const auto& bytes : rejected) EXPECT_FALSE(parse(bytes).has_value()) << bytes.size();
}

TEST(BeaconDataParserTest, BindingIsUnsignedBigEndianAndSpaceIsLowerCaseHex) {
  Bytes bytes = validPayload();
  bytes[3] = bytes[4] = bytes[5] = 0xFF;
  std::fill(bytes.begin() + 6, bytes.begin() + 14, 0x00);
  bytes[13] = 0xAB;
  auto data = parse(bytes);
  ASSERT_TRUE(data.has_value());
  EXPECT_EQ(data->bindingId, 16'777'215);
  EXPECT_EQ(data->spaceId, "00000000000000ab");

  bytes[3] = 0x01;
  bytes[4] = 0x00;
  bytes[5] = 0x00;
  EXPECT_EQ(parse(bytes)->bindingId, 65'536) << "byte 3 is the most significant";
}

TEST(BeaconDataParserTest, ValidPayloadYieldsTheTripleWhateverFollowsItsFourteenBytes) {
  const auto expected = parse(validPayload());
  ASSERT_TRUE(expected.has_value());
  EXPECT_EQ(expected->companyId, 4660);
  EXPECT_EQ(expected->spaceId, "0a1b2c3d4e5f6071");
  EXPECT_EQ(expected->bindingId, 300);
  Bytes altered = validPayload();
  std::fill(altered.begin() + 14, altered.end(), 0x00);
  EXPECT_EQ(parse(altered), expected);

  Bytes longer = validPayload();
  longer.insert(longer.end(), 100, 0x5A);
  EXPECT_EQ(parse(longer), expected);
}

}  // namespace
}  // namespace lumora
