#pragma once

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
  CurlHttpSessionOptions http;
};

}  // namespace lumora::platform
