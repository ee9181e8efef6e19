#include "core/util/Uuid.hpp"

#include <uuid/uuid.h>

namespace lumora {
namespace {

constexpr std::size_t kTextLength = 36;

bool isHyphenPosition(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// 00000000-0000-1000-8000-00805F9B34FB: short Bluetooth UUIDs fill its first four bytes.
constexpr Uuid::Bytes kBluetoothBase{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                     0x80, 0x00, 0x00, 0x80, 0x5F, 0x9B, 0x34, 0xFB};

}  // namespace

Uuid::Uuid(const Bytes& bytes) : bytes_(bytes) {}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != kTextLength) return std::nullopt;
  Bytes bytes{};
  std::size_t nibble = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHyphenPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = hexValue(text[i]);
    if (value < 0) return std::nullopt;
    bytes[nibble / 2] = static_cast<std::uint8_t>(bytes[nibble / 2] << 4 | value);
    ++nibble;
  }
  return Uuid(bytes);
}

std::optional<Uuid> Uuid::parseBluetooth(std::string_view text) {
  if (text.size() != 4 && text.size() != 8) return parse(text);
  std::uint32_t value = 0;
  for (const char c : text) {
    const int digit = hexValue(c);
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<std::uint32_t>(digit);
  }
  Bytes bytes = kBluetoothBase;
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[i] = static_cast<std::uint8_t>(value >> (8 * (3 - i)));
  }
  return Uuid(bytes);
}

Uuid Uuid::random() {
  Bytes bytes{};
  uuid_generate_random(bytes.data());
  return Uuid(bytes);
}

const Uuid::Bytes& Uuid::bytes() const noexcept { return bytes_; }

std::string Uuid::text() const {
  char text[kTextLength + 1];
  uuid_unparse_upper(bytes_.data(), text);
  return std::string(text, kTextLength);
}

}  // namespace lumora
