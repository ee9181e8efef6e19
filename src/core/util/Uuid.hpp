#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumora {

/// A 128-bit UUID value.
class Uuid {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  explicit Uuid(const Bytes& bytes);

  /// Parses the standard 36-character form, 8-4-4-4-12 hexadecimal digits
  /// separated by hyphens, letters in either case. Anything else: nothing.
  static std::optional<Uuid> parse(std::string_view text);
  /// Parses a Bluetooth UUID: the standard form, or a 16- or 32-bit short form
  /// (4 or 8 hexadecimal digits, "FEAA"), which stands for that value on the
  /// Bluetooth base UUID 0000xxxx-0000-1000-8000-00805F9B34FB.
  static std::optional<Uuid> parseBluetooth(std::string_view text);
  /// A random (version 4) UUID.
  static Uuid random();

  const Bytes& bytes() const noexcept;
  /// The canonical text: upper-case hexadecimal, 8-4-4-4-12.
  std::string text() const;

  friend bool operator==(const Uuid&, const Uuid&) = default;

 private:
  Bytes bytes_;
};

}  // namespace lumora
