#pragma once

#include <memory>
#include <mutex>

#include "platform/Platform.hpp"

namespace lumora::platform {

/// The real platform on Linux. Services are created on first use.
class LinuxPlatform : public Platform {
 public:
  LinuxPlatform();

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

 private:
  std::shared_ptr<Clock> clock_;
  std::shared_ptr<SystemLog> systemLog_;
};

}  // namespace lumora::platform
