#pragma once

#include <memory>
#include <mutex>

#include "platform/Platform.hpp"
#include "platform/linux/LinuxPlatformOptions.hpp"

namespace lumora::platform {

class BleLocationService;
class BluezCentral;

/// The real platform on Linux: the GLib main loop, BlueZ, freedesktop
/// notifications, libcurl, netlink, a plist user-defaults file and syslog.
/// The clock and the log exist from the start; every other service is
/// created on first use, which must happen on the thread that runs the
/// default GLib main context.
class LinuxPlatform : public Platform {
 public:
  explicit LinuxPlatform(LinuxPlatformOptions options = {});

  std::shared_ptr<Clock> clock() override;
  std::shared_ptr<MainQueue> mainQueue() override;
  std::shared_ptr<SystemLog> systemLog() override;
  std::shared_ptr<ResourceBundle> resourceBundle() override;
  std::shared_ptr<LocationService> locationService() override;
  std::shared_ptr<BleCentral> bleCentral() override;
  std::shared_ptr<NotificationCenter> notificationCenter() override;
  std::shared_ptr<ReachabilityService> reachability() override;
  std::shared_ptr<UserDefaults> userDefaults() override;
  std::shared_ptr<DeviceInfo> deviceInfo() override;
  std::shared_ptr<AdvertisingIdentity> advertisingIdentity() override;
  std::shared_ptr<HttpSession> httpSession() override;
  std::shared_ptr<UrlToolkit> urlToolkit() override;

  /// Reports a new location authorization to a location service already made.
  void setLocationAuthorization(std::int64_t status);

 private:
  /// The service in slot, made by make() under the lock on first use.
  template <class T, class Make>
  std::shared_ptr<T> lazy(std::shared_ptr<T>& slot, Make make);
  std::shared_ptr<BluezCentral> bluezLocked();

  const LinuxPlatformOptions options_;
  const std::shared_ptr<Clock> clock_;
  const std::shared_ptr<SystemLog> systemLog_;
  std::recursive_mutex mutex_;
  std::shared_ptr<MainQueue> mainQueue_;
  std::shared_ptr<ResourceBundle> bundle_;
  std::shared_ptr<BluezCentral> central_;
  std::shared_ptr<BleLocationService> location_;
  std::shared_ptr<NotificationCenter> notifications_;
  std::shared_ptr<ReachabilityService> reachability_;
  std::shared_ptr<UserDefaults> userDefaults_;
  std::shared_ptr<DeviceInfo> deviceInfo_;
  std::shared_ptr<AdvertisingIdentity> advertising_;
  std::shared_ptr<HttpSession> http_;
  std::shared_ptr<UrlToolkit> urls_;
};

}  // namespace lumora::platform
