#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace lumora {

/// The location authorization of the application, with the platform's raw values.
enum class LocationAuthorizationStatus : std::int64_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorizedAlways = 3,
  authorizedWhenInUse = 4,
};

/// The status with this raw value; nothing outside 0...4.
std::optional<LocationAuthorizationStatus> locationAuthorizationStatusFromRawValue(
    std::int64_t rawValue) noexcept;
/// The case name, e.g. "authorizedAlways".
std::string_view caseName(LocationAuthorizationStatus status) noexcept;

}  // namespace lumora
