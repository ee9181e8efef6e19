#include "core/config/PropertyListScreen.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace lumora {
namespace {

constexpr std::string_view kBinaryMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
// What one expanded object is charged besides its payload: about the size of
// the smallest XML element, so that a binary file expands no further than an
// XML file of the same cap could.
constexpr std::size_t kObjectCost = 8;

std::string_view text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::size_t countOccurrences(std::string_view haystack, std::string_view needle) {
  std::size_t count = 0;
  for (auto at = haystack.find(needle); at != std::string_view::npos;
       at = haystack.find(needle, at + needle.size())) {
    ++count;
  }
  return count;
}

// The object table of a binary property list, every read bounds-checked.
class BinaryObjects {
 public:
  struct Object {
    std::uint8_t type;  // the marker's high nibble
    std::uint64_t count;
    std::size_t refsAt;  // where a container's references start
  };

  explicit BinaryObjects(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  // Reads the trailer; false when it cannot describe an object table.
  bool open() {
    const std::size_t trailer = bytes_.size() - kTrailerSize;
    const auto offsetSize = bytes_[trailer + 6];
    refSize_ = bytes_[trailer + 7];
    const auto objects = integer(trailer + 8, 8);
    const auto top = integer(trailer + 16, 8);
    const auto table = integer(trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize_ < 1 || refSize_ > 8) return false;
    if (!objects || !top || !table || *top >= *objects || *table >= trailer) return false;
    if (*objects > (trailer - *table) / offsetSize) return false;
    objectCount_ = *objects;
    top_ = *top;
    table_ = static_cast<std::size_t>(*table);
    offsetSize_ = offsetSize;
    return true;
  }

  std::uint64_t top() const { return top_; }

  std::optional<Object> object(std::uint64_t index) const {
    if (index >= objectCount_) return std::nullopt;
    const auto offset =
        integer(table_ + static_cast<std::size_t>(index) * offsetSize_, offsetSize_);
    if (!offset || *offset >= bytes_.size()) return std::nullopt;
    const auto at = static_cast<std::size_t>(*offset);
    const std::uint8_t marker = bytes_[at];
    Object result{static_cast<std::uint8_t>(marker >> 4), marker & 0x0Fu, at + 1};
    if (result.count == 0x0F && hasLength(result.type)) {
      // The length follows as an integer object: marker 0x1n, then 2^n bytes.
      if (at + 1 >= bytes_.size() || (bytes_[at + 1] >> 4) != 0x1) return std::nullopt;
      const std::size_t width = std::size_t{1} << (bytes_[at + 1] & 0x0F);
      const auto length = width <= 8 ? integer(at + 2, width) : std::nullopt;
      if (!length) return std::nullopt;
      result.count = *length;
      result.refsAt = at + 2 + width;
    }
    return result;
  }

  std::optional<std::uint64_t> reference(std::size_t at, std::uint64_t n) const {
    if (n > (bytes_.size() - std::min(at, bytes_.size())) / refSize_) return std::nullopt;
    return integer(at + static_cast<std::size_t>(n) * refSize_, refSize_);
  }

  static bool isContainer(std::uint8_t type) { return type >= 0xA && type <= 0xD; }
  static std::uint64_t referenceCount(const Object& object) {
    return object.type == 0xD ? saturatedProduct(object.count, 2) : object.count;
  }
  // Bytes the parser allocates for a leaf's value (UTF-16 becomes up to three
  // UTF-8 bytes a unit).
  static std::uint64_t payload(const Object& object) {
    if (object.type == 0x6) return saturatedProduct(object.count, 3);
    return object.type == 0x4 || object.type == 0x5 ? object.count : 0;
  }

 private:
  static std::uint64_t saturatedProduct(std::uint64_t value, std::uint64_t factor) {
    const auto most = std::numeric_limits<std::uint64_t>::max();
    return value > most / factor ? most : value * factor;
  }
  static bool hasLength(std::uint8_t type) {
    return type == 0x4 || type == 0x5 || type == 0x6 || isContainer(type);
  }

  std::optional<std::uint64_t> integer(std::size_t at, std::size_t width) const {
    if (at > bytes_.size() || width > bytes_.size() - at) return std::nullopt;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8 | bytes_[at + i];
    return value;
  }

  std::span<const std::uint8_t> bytes_;
  std::uint64_t objectCount_ = 0;
  std::uint64_t top_ = 0;
  std::size_t table_ = 0;
  std::size_t offsetSize_ = 0;
  std::size_t refSize_ = 1;
};

}  // namespace

bool PropertyListScreen::admits(std::span<const std::uint8_t> bytes) const {
  if (bytes.size() > limits_.maxBytes) return false;
  return text(bytes).starts_with(kBinaryMagic) ? admitsBinary(bytes) : admitsXml(bytes);
}

bool PropertyListScreen::admitsXml(std::span<const std::uint8_t> bytes) const {
  const std::string_view xml = text(bytes);
  return countOccurrences(xml, "<dict") + countOccurrences(xml, "<array") <= limits_.maxContainers;
}

bool PropertyListScreen::admitsBinary(std::span<const std::uint8_t> bytes) const {
  if (bytes.size() < kBinaryMagic.size() + kTrailerSize) return false;
  BinaryObjects objects(bytes);
  if (!objects.open()) return false;
  // An object is charged its fixed cost when it is pushed, so the stack of
  // pending objects stays within the budget too, and its payload when popped.
  std::uint64_t budget = limits_.maxBytes - std::min(limits_.maxBytes, kObjectCost);
  std::size_t containers = 0;
  std::vector<std::uint64_t> pending{objects.top()};
  while (!pending.empty()) {
    const auto object = objects.object(pending.back());
    pending.pop_back();
    if (!object) return false;
    const std::uint64_t payload = BinaryObjects::payload(*object);
    if (payload > budget) return false;
    budget -= payload;
    if (!BinaryObjects::isContainer(object->type)) continue;
    if (++containers > limits_.maxContainers) return false;
    const std::uint64_t references = BinaryObjects::referenceCount(*object);
    if (references > budget / kObjectCost) return false;
    budget -= references * kObjectCost;
    for (std::uint64_t n = 0; n < references; ++n) {
      const auto child = objects.reference(object->refsAt, n);
      if (!child) return false;
      pending.push_back(*child);
    }
  }
  return true;
}

}  // namespace lumora
