#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/config/PropertyList.hpp"
#include "core/config/PropertyListScreen.hpp"
#include "support/SdkPlist.hpp"

namespace lumora {
namespace {

using testing::SdkPlist;
using Bytes = std::vector<std::uint8_t>;

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

class PropertyListTest : public ::testing::TestWithParam<SdkPlist::Format> {
 protected:
  Bytes completeBytes() const { return SdkPlist::complete().bytes(GetParam()); }
};

TEST_P(PropertyListTest, TypedLookupsAnswerNothingForAbsentOrWrongTypedValuesOrSpoiledFiles) {
  std::optional<PropertyList> stage;
  auto root = PropertyList::parseDictionary(completeBytes());
  ASSERT_TRUE(root.has_value());
  stage = root->dictionary("APIEndpoints")->dictionary("Stage");
  root = PropertyList::parseDictionary(completeBytes());  // a nested list outlives its source
  ASSERT_TRUE(stage.has_value());
  EXPECT_EQ(stage->string("CreativeBucketName"), "stage-bucket");

  EXPECT_FALSE(root->dictionary("Absent").has_value());
  EXPECT_FALSE(root->string("Absent").has_value());
  EXPECT_FALSE(root->string("APIEndpoints").has_value()) << "a dictionary is not a string";
  EXPECT_FALSE(root->dictionary("Version").has_value()) << "a number is not a dictionary";
  EXPECT_FALSE(root->string("Version").has_value());

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

// A binary property list of the given objects (one-byte references, offsets
// of the given width), the first one on top.
Bytes binary(const std::vector<Bytes>& objects, int offsetSize = 4) {
  Bytes out = text("bplist00");
  std::vector<std::size_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out.insert(out.end(), object.begin(), object.end());
  }
  const std::size_t table = out.size();
  const auto bigEndian = [&out](std::uint64_t value, int width) {
    for (int i = width - 1; i >= 0; --i) {
      out.push_back(i < 8 ? static_cast<std::uint8_t>(value >> (8 * i)) : 0);
    }
  };
  for (const auto offset : offsets) bigEndian(offset, offsetSize);
  out.insert(out.end(), 6, 0);
  out.push_back(static_cast<std::uint8_t>(offsetSize));
  out.push_back(1);  // reference size
  bigEndian(objects.size(), 8);
  bigEndian(0, 8);
  bigEndian(table, 8);
  return out;
}

// Arrays of two references to the next one, n deep: 2^n leaves once expanded.
Bytes doublingArrays(int n) {
  std::vector<Bytes> objects;
  for (int i = 0; i < n; ++i) {
    const auto next = static_cast<std::uint8_t>(i + 1);
    objects.push_back({0xA2, next, next});
  }
  objects.push_back({0x51, 'a'});
  return binary(objects);
}

std::string repeated(const std::string& unit, std::size_t times) {
  std::string out;
  for (std::size_t i = 0; i < times; ++i) out += unit;
  return out;
}

TEST(PropertyListLimitsTest, MalformedInputsAndInputsPastTheCapsAreRefused) {
  const std::string open = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key>";
  const std::string close = "</dict></plist>";
  const struct {
    const char* name;
    Bytes bytes;
    bool admitted;
  } cases[] = {
      {"nothing", {}, false},
      {"garbage", text("not a property list"), false},
      {"a bare binary header", text("bplist00"), false},
      {"half-written XML", text("<plist><dict><key>a</key>"), false},
      {"zero bytes", Bytes(4096, 0x00), false},
      {"small binary dictionary", binary({{0xD1, 1, 2}, {0x51, 'a'}, {0x51, 'b'}}), true},
      {"value just within the size cap",
       text(open + "<string>" + std::string(1000000, 'v') + "</string>" + close), true},
      {"value past the size cap",
       text(open + "<string>" + std::string(1 << 20, 'v') + "</string>" + close), false},
      {"256 containers", text(open + repeated("<array>", 255) + repeated("</array>", 255) + close),
       true},
      {"257 containers", text(open + repeated("<array>", 256) + repeated("</array>", 256) + close),
       false},
      // Deep enough to overflow the stack when the parsed tree is freed.
      {"140000 levels within the size cap",
       text(open + repeated("<array>", 140000) + repeated("</array>", 140000) + close), false},
      {"closing tags hidden in a comment do not offset openings",
       text(open + repeated("<!-- </array> -->", 300) + repeated("<array>", 300) + close), false},
      {"shared objects expanding to 2^40 leaves", doublingArrays(40), false},
      {"an array containing itself", binary({{0xA1, 0}}), false},
      {"a reference past the object table", binary({{0xD1, 1, 7}, {0x51, 'a'}}), false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(PropertyList::parseDictionary(c.bytes).has_value(), c.admitted) << c.name;
  }
}

TEST(PropertyListScreenTest, AnExpansionIsAdmittedUpToExactlyTheByteLimit) {
  // An array of n references to one 40-character string: 8 bytes for the
  // array, 8 for each reference and 40 for each copy of the string. From 15
  // references on, the array's length is an integer object of its own.
  Bytes string = {0x5F, 0x10, 40};
  string.insert(string.end(), 40, 's');
  for (const std::uint8_t n : {4, 15}) {
    Bytes array = n < 15 ? Bytes{static_cast<std::uint8_t>(0xA0 | n)} : Bytes{0xAF, 0x10, n};
    array.insert(array.end(), n, 1);
    const Bytes bytes = binary({array, string});
    const std::size_t limit = 8 + n * 48u;
    EXPECT_TRUE(PropertyListScreen({limit, 4}).admits(bytes)) << +n;
    EXPECT_FALSE(PropertyListScreen({limit - 1, 4}).admits(bytes)) << +n;
  }
  // Offsets wider than eight bytes are refused.
  const std::vector<Bytes> objects = {{0xD1, 1, 2}, {0x51, 'a'}, {0x51, 'b'}};
  EXPECT_TRUE(PropertyListScreen({1000, 4}).admits(binary(objects, 8)));
  EXPECT_FALSE(PropertyListScreen({1000, 4}).admits(binary(objects, 16)));
}

}  // namespace
}  // namespace lumora
