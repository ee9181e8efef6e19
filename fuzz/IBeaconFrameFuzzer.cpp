// Feeds arbitrary manufacturer data to the iBeacon frame parser and checks
// that what it accepts is exactly the standard layout and survives a round trip.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "FuzzCheck.hpp"
#include "platform/ble/IBeaconFrame.hpp"

using lumora::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using lumora::platform::IBeaconFrame;
  const std::span<const std::uint8_t> bytes(data, size);
  const auto frame = IBeaconFrame::parse(bytes);
  const bool standard = size >= IBeaconFrame::kLength && data[0] == 0x4C && data[1] == 0x00 &&
                        data[2] == 0x02 && data[3] == 0x15;
  check(frame.has_value() == standard);
  if (!frame) return 0;

  check(frame->proximityUuid.size() == 36);
  const auto encoded = frame->encode();
  check(encoded.size() == IBeaconFrame::kLength);
  check(std::equal(encoded.begin(), encoded.end(), bytes.begin()));
  check(IBeaconFrame::parse(encoded) == frame);
  return 0;
}
