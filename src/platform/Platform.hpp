#pragma once

#include <memory>

#include "platform/AdvertisingIdentity.hpp"
#include "platform/BleCentral.hpp"
#include "platform/Clock.hpp"
#include "platform/DeviceInfo.hpp"
#include "platform/HttpSession.hpp"
#include "platform/LocationService.hpp"
#include "platform/MainQueue.hpp"
#include "platform/NotificationCenter.hpp"
#include "platform/ReachabilityService.hpp"
#include "platform/ResourceBundle.hpp"
#include "platform/SystemLog.hpp"
#include "platform/UrlToolkit.hpp"
#include "platform/UserDefaults.hpp"

namespace lumora::platform {

/// The operating-system services the library runs on. One platform is
/// installed per process (the Linux one unless another was installed first);
/// tests install their own.
class Platform {
 public:
  virtual ~Platform() = default;

  virtual std::shared_ptr<Clock> clock() = 0;
  virtual std::shared_ptr<MainQueue> mainQueue() = 0;
  virtual std::shared_ptr<SystemLog> systemLog() = 0;
  virtual std::shared_ptr<ResourceBundle> resourceBundle() = 0;
  virtual std::shared_ptr<LocationService> locationService() = 0;
  virtual std::shared_ptr<BleCentral> bleCentral() = 0;
  virtual std::shared_ptr<NotificationCenter> notificationCenter() = 0;
  virtual std::shared_ptr<ReachabilityService> reachability() = 0;
  virtual std::shared_ptr<UserDefaults> userDefaults() = 0;
  virtual std::shared_ptr<DeviceInfo> deviceInfo() = 0;
  virtual std::shared_ptr<AdvertisingIdentity> advertisingIdentity() = 0;
  virtual std::shared_ptr<HttpSession> httpSession() = 0;
  virtual std::shared_ptr<UrlToolkit> urlToolkit() = 0;

  /// Makes platform the process's platform, replacing any earlier one.
  static void install(std::shared_ptr<Platform> platform);
  /// The installed platform; installs the build's default platform on first
  /// use when none was installed.
  static std::shared_ptr<Platform> installed();
  /// The installed platform, or null when none is: never installs one.
  static std::shared_ptr<Platform> current();
};

/// The build's default platform (Linux in the shipped library).
std::shared_ptr<Platform> makeDefaultPlatform();

}  // namespace lumora::platform
