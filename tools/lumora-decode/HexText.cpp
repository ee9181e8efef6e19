#include "lumora-decode/HexText.hpp"

#include <string>

namespace lumora::tools {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isSeparator(char c) { return c == ' ' || c == ':' || c == '-' || c == '\''; }

}  // namespace

std::optional<std::vector<std::uint8_t>> HexText::parse(std::string_view text) {
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

}  // namespace lumora::tools
