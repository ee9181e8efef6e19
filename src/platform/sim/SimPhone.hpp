#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/sim/MemoryUserDefaults.hpp"
#include "platform/sim/SimAdvertisingIdentity.hpp"
#include "platform/sim/SimBleCentral.hpp"
#include "platform/sim/SimDeviceInfo.hpp"
#include "platform/sim/SimLocationService.hpp"
#include "platform/sim/SimNotificationCenter.hpp"
#include "platform/sim/SimPlatform.hpp"
#include "platform/sim/SimRadio.hpp"
#include "platform/sim/SimReachabilityService.hpp"

namespace lumora::platform {

/// How a simulated phone starts out.
struct SimPhoneOptions {
  TimePoint start{};
  std::int64_t locationStatus = 3;      // authorizedAlways
  std::int64_t bluetoothState = 5;      // poweredOn
  std::int64_t notificationStatus = 2;  // authorized
  bool network = true;
  MemoryUserDefaults::Contents userDefaults;
  std::string machine = "x86_64";
  std::string systemName = "Linux";
  std::string systemVersion = "6.1";
  bool trackingAuthorized = false;
  std::string advertisingIdentifier = SimAdvertisingIdentity::kNoIdentifier;
  /// An extra CA the HTTP session trusts (a local test or development server's).
  std::optional<std::string> caFile;
};

/// A whole phone on virtual time: one radio that carries iBeacon and custom
/// advertisements to the location service and the Bluetooth central, scripted
/// permissions and network, a notification center that accepts taps, an
/// in-memory user-defaults store, and the real libcurl session (virtual time
/// stands still while a request is in flight).
class SimPhone {
 public:
  explicit SimPhone(const SimPhoneOptions& options);

  const std::shared_ptr<SimPlatform> platform;
  const std::shared_ptr<SimRadio> radio;
  const std::shared_ptr<SimBleCentral> central;
  const std::shared_ptr<SimLocationService> location;
  const std::shared_ptr<SimNotificationCenter> notifications;
  const std::shared_ptr<SimReachabilityService> reachability;
  const std::shared_ptr<MemoryUserDefaults> defaults;
  const std::shared_ptr<SimDeviceInfo> device;
  const std::shared_ptr<SimAdvertisingIdentity> advertising;
};

}  // namespace lumora::platform
