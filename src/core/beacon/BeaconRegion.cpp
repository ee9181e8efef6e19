#include "core/beacon/BeaconRegion.hpp"

namespace lumora {

BeaconRegion::BeaconRegion(const Uuid& uuid, std::string identifier)
    : uuid_(uuid), identifier_(std::move(identifier)) {}

std::optional<BeaconRegion> BeaconRegion::fromCLRegion(const platform::PlatformRegion& region) {
  if (!region.beaconUuid) return std::nullopt;
  const auto uuid = Uuid::parse(*region.beaconUuid);
  if (!uuid) return std::nullopt;
  return BeaconRegion(*uuid, region.identifier);
}

const Uuid& BeaconRegion::uuid() const noexcept { return uuid_; }

const std::string& BeaconRegion::identifier() const { return identifier_; }

platform::PlatformRegion BeaconRegion::toCLRegion() const {
  platform::PlatformRegion region;
  region.identifier = identifier_;
  region.beaconUuid = uuid_.text();
  return region;
}

std::string_view BeaconRegion::description() const { return "LumoraBeaconSDK.BeaconRegion"; }

}  // namespace lumora
