#include "platform/ble/IBeaconFrame.hpp"

#include <uuid/uuid.h>

#include <algorithm>
#include <stdexcept>

namespace lumora::platform {
namespace {

constexpr std::uint8_t kAppleCompanyLow = 0x4C;
constexpr std::uint8_t kAppleCompanyHigh = 0x00;
constexpr std::uint8_t kIBeaconType = 0x02;
constexpr std::uint8_t kIBeaconLength = 0x15;
constexpr std::size_t kUuidOffset = 4;
constexpr std::size_t kMajorOffset = 20;
constexpr std::size_t kMinorOffset = 22;
constexpr std::size_t kPowerOffset = 24;

std::uint16_t bigEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

void putBigEndian16(std::vector<std::uint8_t>& bytes, std::uint16_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value >> 8));
  bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

}  // namespace

std::optional<IBeaconFrame> IBeaconFrame::parse(std::span<const std::uint8_t> manufacturerData) {
  const auto& d = manufacturerData;
  if (d.size() < kLength || d[0] != kAppleCompanyLow || d[1] != kAppleCompanyHigh ||
      d[2] != kIBeaconType || d[3] != kIBeaconLength) {
    return std::nullopt;
  }
  uuid_t raw;
  std::copy_n(d.begin() + kUuidOffset, sizeof raw, raw);
  char text[37];
  uuid_unparse_upper(raw, text);

  IBeaconFrame frame;
  frame.proximityUuid = text;
  frame.major = bigEndian16(d, kMajorOffset);
  frame.minor = bigEndian16(d, kMinorOffset);
  frame.measuredPower = static_cast<std::int8_t>(d[kPowerOffset]);
  return frame;
}

std::vector<std::uint8_t> IBeaconFrame::encode() const {
  uuid_t raw;
  if (proximityUuid.size() != 36 || uuid_parse(proximityUuid.c_str(), raw) != 0) {
    throw std::invalid_argument("not a UUID: " + proximityUuid);
  }
  std::vector<std::uint8_t> bytes{kAppleCompanyLow, kAppleCompanyHigh, kIBeaconType,
                                  kIBeaconLength};
  bytes.reserve(kLength);
  bytes.insert(bytes.end(), raw, raw + sizeof raw);
  putBigEndian16(bytes, major);
  putBigEndian16(bytes, minor);
  bytes.push_back(static_cast<std::uint8_t>(measuredPower));
  return bytes;
}

}  // namespace lumora::platform
