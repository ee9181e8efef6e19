#include "lumora/LumoraAdBeaconErrorType.hpp"

#include <algorithm>
#include <array>

namespace lumora {
namespace {

constexpr std::array<std::string_view, 13> kDescriptions = {
    "Notification permission not granted. Please allow notifications in settings.",
    "Location permission not granted. Please allow location access in settings.",
    "Location permission not set to 'Always'. Please update in settings.",
    "Bluetooth is disabled. Please turn on Bluetooth.",
    "Bluetooth permission denied. Please allow Bluetooth access in settings.",
    "Cannot fetch creative data, insufficient permissions.",
    "Creative data not found.",
    "Invalid creative data.",
    "SDK configuration error.",
    "SDK not initialized.",
    "Internet connection unavailable. Please check network settings.",
    "Frequency cap exceeded. This beacon has been processed too many times within the specified "
    "interval.",
    "Unknown error.",
};

}  // namespace

std::optional<LumoraAdBeaconErrorType> errorTypeFromRawValue(std::int64_t value) noexcept {
  if (value < 0 || value >= static_cast<std::int64_t>(kDescriptions.size())) return std::nullopt;
  return static_cast<LumoraAdBeaconErrorType>(value);
}

std::int64_t rawValue(LumoraAdBeaconErrorType type) noexcept {
  return static_cast<std::int64_t>(type);
}

std::string_view description(LumoraAdBeaconErrorType type) noexcept {
  const auto index = static_cast<std::size_t>(rawValue(type));
  return kDescriptions[std::min(index, kDescriptions.size() - 1)];
}

}  // namespace lumora
