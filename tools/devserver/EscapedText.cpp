#include "devserver/EscapedText.hpp"

#include <cstddef>
#include <cstdint>

namespace lumora::tools {
namespace {

bool inRange(std::uint8_t byte, std::uint8_t low, std::uint8_t high) {
  return byte >= low && byte <= high;
}

/// The length of the well-formed UTF-8 sequence at the start of bytes, 0 when
/// there is none.
std::size_t sequenceLength(std::string_view bytes) {
  const auto at = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint8_t lead = at(0);
  std::size_t length = 0;
  std::uint8_t secondLow = 0x80;
  std::uint8_t secondHigh = 0xBF;
  if (lead < 0x80) {
    return 1;
  } else if (inRange(lead, 0xC2, 0xDF)) {
    length = 2;
  } else if (inRange(lead, 0xE0, 0xEF)) {
    length = 3;
    secondLow = lead == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
    secondHigh = lead == 0xED ? 0x9F : 0xBF;  // no surrogates
  } else if (inRange(lead, 0xF0, 0xF4)) {
    length = 4;
    secondLow = lead == 0xF0 ? 0x90 : 0x80;
    secondHigh = lead == 0xF4 ? 0x8F : 0xBF;  // nothing past U+10FFFF
  } else {
    return 0;
  }
  if (bytes.size() < length || !inRange(at(1), secondLow, secondHigh)) {
    return 0;
  }
  for (std::size_t i = 2; i < length; ++i) {
    if (!inRange(at(i), 0x80, 0xBF)) {
      return 0;
    }
  }
  return length;
}

bool isControl(std::string_view sequence) {
  const auto lead = static_cast<std::uint8_t>(sequence[0]);
  if (sequence.size() == 1) {
    return lead < 0x20 || lead == 0x7F;
  }
  return lead == 0xC2 && static_cast<std::uint8_t>(sequence[1]) < 0xA0;  // U+0080..U+009F
}

void appendHex(std::string& out, std::string_view bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0x0F];
  }
}

}  // namespace

std::string EscapedText::of(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = sequenceLength(bytes);
    const std::string_view sequence = bytes.substr(0, length == 0 ? 1 : length);
    if (sequence == "\\") {
      out += "\\\\";
    } else if (length == 0 || isControl(sequence)) {
      appendHex(out, sequence);
    } else {
      out += sequence;
    }
    bytes.remove_prefix(sequence.size());
  }
  return out;
}

bool EscapedText::isValidUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = sequenceLength(bytes);
    if (length == 0) {
      return false;
    }
    bytes.remove_prefix(length);
  }
  return true;
}

}  // namespace lumora::tools
