#include "core/beacon/Beacon.hpp"

namespace lumora {

Beacon::Beacon(const platform::PlatformBeacon& clBeacon)
    : clBeacon(clBeacon),
      uuid(Uuid::parse(clBeacon.uuid).value_or(Uuid(Uuid::Bytes{}))),
      major(clBeacon.major),
      minor(clBeacon.minor) {}

Beacon::Beacon(const Uuid& uuid, std::int64_t major, std::int64_t minor)
    : uuid(uuid), major(major), minor(minor) {}

std::vector<Beacon> Beacon::fromCLBeacons(const std::vector<platform::PlatformBeacon>& clBeacons) {
  std::vector<Beacon> beacons;
  beacons.reserve(clBeacons.size());
  for (const auto& clBeacon : clBeacons) beacons.emplace_back(clBeacon);
  return beacons;
}

}  // namespace lumora
