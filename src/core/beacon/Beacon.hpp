#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/util/Uuid.hpp"
#include "platform/LocationService.hpp"

namespace lumora {

/// One ranged iBeacon. Immutable: every field is set by the constructor.
class Beacon {
 public:
  /// Keeps the platform beacon and copies its UUID, major and minor. A UUID
  /// text that does not parse becomes the all-zero UUID, so a malformed report
  /// from the location service still yields a beacon instead of failing.
  explicit Beacon(const platform::PlatformBeacon& clBeacon);
  /// A beacon not backed by a ranging result; clBeacon stays absent.
  Beacon(const Uuid& uuid, std::int64_t major, std::int64_t minor);

  /// One Beacon per platform beacon, in input order.
  static std::vector<Beacon> fromCLBeacons(const std::vector<platform::PlatformBeacon>& clBeacons);

  /// The ranging result this beacon came from, when there is one.
  const std::optional<platform::PlatformBeacon> clBeacon;
  const Uuid uuid;
  const std::int64_t major;
  const std::int64_t minor;
};

}  // namespace lumora
