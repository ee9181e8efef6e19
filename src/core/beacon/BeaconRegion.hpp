#pragma once

#include <optional>
#include <string>

#include "core/beacon/Region.hpp"
#include "core/util/Uuid.hpp"

namespace lumora {

/// An iBeacon region: every beacon with this proximity UUID, whatever its
/// major and minor values.
class BeaconRegion : public Region {
 public:
  BeaconRegion(const Uuid& uuid, std::string identifier);

  /// The beacon region a platform region stands for; nothing when it has no
  /// proximity UUID or one that does not parse.
  static std::optional<BeaconRegion> fromCLRegion(const platform::PlatformRegion& region);

  const Uuid& uuid() const noexcept;
  const std::string& identifier() const override;
  /// A platform beacon region with the UUID (canonical text) and the identifier.
  platform::PlatformRegion toCLRegion() const override;
  /// "LumoraBeaconSDK.BeaconRegion".
  std::string_view description() const override;

  friend bool operator==(const BeaconRegion& a, const BeaconRegion& b) {
    return a.uuid_ == b.uuid_ && a.identifier_ == b.identifier_;
  }

 private:
  Uuid uuid_;
  std::string identifier_;
};

}  // namespace lumora
