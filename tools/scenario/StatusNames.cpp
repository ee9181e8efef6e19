#include "scenario/StatusNames.hpp"

#include <algorithm>
#include <span>

namespace lumora::tools {
namespace {

constexpr std::string_view kLocation[] = {"notDetermined", "restricted", "denied",
                                          "authorizedAlways", "authorizedWhenInUse"};
constexpr std::string_view kBluetooth[] = {"unknown",      "resetting",  "unsupported",
                                           "unauthorized", "poweredOff", "poweredOn"};
constexpr std::string_view kNotifications[] = {"notDetermined", "denied", "authorized",
                                               "provisional", "ephemeral"};
// The host-facing error codes, by raw value.
constexpr std::string_view kErrors[] = {"unauthorizedNotificationPermission",
                                        "unauthorizedLocationPermission",
                                        "locationPermissionNotAlways",
                                        "bluetoothDisabled",
                                        "bluetoothPermissionDenied",
                                        "forbiddenFetchCreative",
                                        "notFoundCreative",
                                        "invalidCreative",
                                        "configurationError",
                                        "notInitialized",
                                        "internetConnectionUnavailable",
                                        "frequencyCapExceeded",
                                        "unknown"};

std::span<const std::string_view> namesOf(StatusNames::Kind kind) {
  switch (kind) {
    case StatusNames::Kind::location:
      return kLocation;
    case StatusNames::Kind::bluetooth:
      return kBluetooth;
    case StatusNames::Kind::notifications:
      return kNotifications;
  }
  return {};
}

}  // namespace

std::optional<std::int64_t> StatusNames::rawValue(Kind kind, std::string_view name) {
  const auto names = namesOf(kind);
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) {
    return std::nullopt;
  }
  return found - names.begin();
}

std::string StatusNames::allNames(Kind kind) {
  std::string text;
  for (const std::string_view name : namesOf(kind)) {
    text += (text.empty() ? "" : ", ") + std::string(name);
  }
  return text;
}

std::string_view StatusNames::errorName(std::int64_t code) {
  const std::span<const std::string_view> names = kErrors;
  const bool known = code >= 0 && code < static_cast<std::int64_t>(names.size());
  return known ? names[static_cast<std::size_t>(code)] : names.back();
}

std::string_view StatusNames::kindName(Kind kind) {
  switch (kind) {
    case Kind::location:
      return "location";
    case Kind::bluetooth:
      return "bluetooth";
    case Kind::notifications:
      return "notifications";
  }
  return "";
}

}  // namespace lumora::tools
