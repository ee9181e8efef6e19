#pragma once

// Linux has no location permission: the host decides what the SDK sees.
//
// The SDK monitors its iBeacon region only with authorizedAlways, which is the
// default. A host that asks its user first (or offers an opt-out) reports the
// answer; a change takes effect at once, as a permission change does on a phone:
//
//   #include <lumora/LinuxLocationPolicy.hpp>
//
//   lumora::setLocationAuthorization(lumora::LocationAuthorization::denied);
//   // start() now reports unauthorizedLocationPermission; monitoring stops.

#include <cstdint>

#include "lumora/export.hpp"

namespace lumora {

enum class LocationAuthorization : std::int64_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorizedAlways = 3,
  authorizedWhenInUse = 4
};

/// Sets the location authorization the SDK sees. Call it from the thread that
/// runs the GLib main loop.
LUMORA_EXPORT void setLocationAuthorization(LocationAuthorization status);

}  // namespace lumora
