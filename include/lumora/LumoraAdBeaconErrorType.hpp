#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "lumora/export.hpp"

namespace lumora {

/// Error codes handed to the host. The raw values are a stable public contract.
enum class LumoraAdBeaconErrorType : std::int64_t {
  unauthorizedNotificationPermission = 0,
  unauthorizedLocationPermission,
  locationPermissionNotAlways,
  bluetoothDisabled,
  bluetoothPermissionDenied,
  forbiddenFetchCreative,
  notFoundCreative,
  invalidCreative,
  configurationError,
  notInitialized,
  internetConnectionUnavailable,
  frequencyCapExceeded,
  unknown
};

/// The case for 0 to 12, nothing for any other value.
LUMORA_EXPORT std::optional<LumoraAdBeaconErrorType> errorTypeFromRawValue(
    std::int64_t rawValue) noexcept;
LUMORA_EXPORT std::int64_t rawValue(LumoraAdBeaconErrorType type) noexcept;
/// The fixed text of the case.
LUMORA_EXPORT std::string_view description(LumoraAdBeaconErrorType type) noexcept;

}  // namespace lumora
