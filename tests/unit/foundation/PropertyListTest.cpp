#include <gtest/gtest.h>

#include <string>

#include "SdkPlist.hpp"
#include "core/config/PropertyList.hpp"

namespace lumora {
namespace {

using testing::SdkPlist;
using Bytes = std::vector<std::uint8_t>;

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class PropertyListTest : public ::testing::TestWithParam<SdkPlist::Format> {
 protected:
  Bytes completeBytes() const { return SdkPlist::complete().bytes(GetParam()); }
};

TEST_P(PropertyListTest, TypedLookupsAnswerNothingForAbsentOrWrongTypedValues) {
  const auto root = PropertyList::parseDictionary(completeBytes());
  ASSERT_TRUE(root.has_value());
  const auto stage = root->dictionary("APIEndpoints")->dictionary("Stage");
  ASSERT_TRUE(stage.has_value());
  EXPECT_EQ(stage->string("CreativeBucketName"), "stage-bucket");

  EXPECT_FALSE(root->dictionary("Absent").has_value());
  EXPECT_FALSE(root->string("Absent").has_value());
  EXPECT_FALSE(root->string("APIEndpoints").has_value()) << "a dictionary is not a string";
  EXPECT_FALSE(root->dictionary("Version").has_value()) << "a number is not a dictionary";
  EXPECT_FALSE(root->string("Version").has_value());
}

TEST_P(PropertyListTest, NestedDictionaryOutlivesTheListItCameFrom) {
  std::optional<PropertyList> group;
  {
    const auto root = PropertyList::parseDictionary(completeBytes());
    group = root->dictionary("BeaconSettings")->dictionary("AppleBeacon");
  }
  ASSERT_TRUE(group.has_value());
  EXPECT_EQ(group->string("Identifier"), "com.example.store");
}

TEST_P(PropertyListTest, EveryTruncationOrByteFlipOfAValidFileIsHandled) {
  const Bytes valid = completeBytes();
  for (std::size_t length = 0; length < valid.size(); ++length) {
    const auto prefix = std::span(valid).first(length);
    // Must not crash; a truncated file is either rejected or still a dictionary.
    const auto parsed = PropertyList::parseDictionary(prefix);
    if (parsed) parsed->dictionary("APIEndpoints");
  }
  for (std::size_t i = 0; i < valid.size(); ++i) {
    Bytes flipped = valid;
    flipped[i] ^= 0xFF;
    const auto parsed = PropertyList::parseDictionary(flipped);
    if (parsed) parsed->string("Version");
  }
  EXPECT_TRUE(PropertyList::parseDictionary(valid).has_value());
}

INSTANTIATE_TEST_SUITE_P(Formats, PropertyListTest,
                         ::testing::Values(SdkPlist::Format::xml, SdkPlist::Format::binary),
                         testing::formatName);

TEST(PropertyListMalformedTest, EmptyGarbageAndHalfWrittenInputsYieldNothing) {
  EXPECT_FALSE(PropertyList::parseDictionary({}).has_value());
  EXPECT_FALSE(PropertyList::parseDictionary(text("not a property list")).has_value());
  EXPECT_FALSE(PropertyList::parseDictionary(text("bplist00")).has_value());
  EXPECT_FALSE(PropertyList::parseDictionary(text("<plist><dict><key>a</key>")).has_value());
  EXPECT_FALSE(PropertyList::parseDictionary(Bytes(4096, 0x00)).has_value());
}

TEST(PropertyListMalformedTest, LargeValueIsRead) {
  const std::string big(4 << 20, 'u');
  const auto bytes =
      SdkPlist(SdkPlist::dict({{"Big", SdkPlist::str(big)}})).bytes(SdkPlist::Format::binary);
  EXPECT_EQ(PropertyList::parseDictionary(bytes)->string("Big"), big);
}

}  // namespace
}  // namespace lumora
