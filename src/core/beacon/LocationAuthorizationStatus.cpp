#include "core/beacon/LocationAuthorizationStatus.hpp"

namespace lumora {

std::optional<LocationAuthorizationStatus> locationAuthorizationStatusFromRawValue(
    std::int64_t rawValue) noexcept {
  if (rawValue < 0 || rawValue > 4) return std::nullopt;
  return static_cast<LocationAuthorizationStatus>(rawValue);
}

std::string_view caseName(LocationAuthorizationStatus status) noexcept {
  switch (status) {
    case LocationAuthorizationStatus::notDetermined:
      return "notDetermined";
    case LocationAuthorizationStatus::restricted:
      return "restricted";
    case LocationAuthorizationStatus::denied:
      return "denied";
    case LocationAuthorizationStatus::authorizedAlways:
      return "authorizedAlways";
    case LocationAuthorizationStatus::authorizedWhenInUse:
      return "authorizedWhenInUse";
  }
  return "notDetermined";
}

}  // namespace lumora
