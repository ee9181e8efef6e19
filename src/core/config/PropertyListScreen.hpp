#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumora {

/// Checks property-list bytes against size and shape limits before they reach
/// the parser, so that no input can make parsing, copying or freeing the tree
/// recurse deeply, or expand into more memory than a file of the size cap.
///
/// XML: every dictionary or array the parser builds starts with "<dict" or
/// "<array" in the text, so counting those openings bounds the containers,
/// and with them the nesting depth. A raw count cannot be misled by comments,
/// processing instructions, quotes or character data.
///
/// Binary ("bplist00"): walks the object references from the top object
/// without recursion, counting every object each time it is referenced, as
/// the parser expands it. References out of range, more containers than the
/// limit, or an expansion larger than maxBytes are refused.
class PropertyListScreen {
 public:
  struct Limits {
    /// The largest input, and the largest expansion of a binary one.
    std::size_t maxBytes;
    /// The most dictionaries and arrays the tree may hold.
    std::size_t maxContainers;
  };

  explicit constexpr PropertyListScreen(Limits limits) : limits_(limits) {}

  /// Whether the bytes are within the limits. Bytes that are not a property
  /// list at all may pass: the parser rejects them.
  bool admits(std::span<const std::uint8_t> bytes) const;

 private:
  bool admitsXml(std::span<const std::uint8_t> bytes) const;
  bool admitsBinary(std::span<const std::uint8_t> bytes) const;

  Limits limits_;
};

}  // namespace lumora
