#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/net/CurlHttpSessionOptions.hpp"

namespace lumora::platform {

/// Where the Linux platform finds its services. The defaults are the real
/// ones; tests point the buses and files at private instances.
struct LinuxPlatformOptions {
  /// BlueZ's bus; absent: the system bus.
  std::optional<std::string> bluetoothBusAddress;
  /// The notification server's bus; absent: the session bus.
  std::optional<std::string> notificationBusAddress;
  /// The user-defaults file; absent: $XDG_CONFIG_HOME/lumora (or ~/.config/lumora).
  std::optional<std::filesystem::path> userDefaultsFile;
  /// Where "sdk.plist" lives; absent: next to the library, then ../share/lumora.
  std::optional<std::filesystem::path> bundleDirectory;
  /// The system log's datagram socket the SDK's lines are sent to.
  std::filesystem::path systemLogSocket = "/dev/log";
  /// The HTTP session's trust and limits. Without an extraCaFile, the one the
  /// host chose (lumora::setExtraCertificateAuthorities() or LUMORA_CA_FILE).
  CurlHttpSessionOptions http;
  /// The location authorization the SDK sees, as a raw status (0 notDetermined,
  /// 1 restricted, 2 denied, 3 authorizedAlways, 4 authorizedWhenInUse). Linux
  /// has no location permission, so this is the host's policy; absent: what the
  /// host set with lumora::setLocationAuthorization() (authorizedAlways unless
  /// it did). Anything but 3 keeps the SDK from starting.
  std::optional<std::int64_t> locationAuthorization;
};

}  // namespace lumora::platform
