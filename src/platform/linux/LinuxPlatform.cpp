#include "platform/linux/LinuxPlatform.hpp"

#include "platform/linux/LinuxSystemLog.hpp"
#include "platform/linux/SystemClock.hpp"

namespace lumora::platform {

LinuxPlatform::LinuxPlatform()
    : clock_(std::make_shared<SystemClock>()), systemLog_(std::make_shared<LinuxSystemLog>()) {}

std::shared_ptr<Clock> LinuxPlatform::clock() { return clock_; }
std::shared_ptr<SystemLog> LinuxPlatform::systemLog() { return systemLog_; }

// The remaining services are assembled as their Linux backends land.
std::shared_ptr<MainQueue> LinuxPlatform::mainQueue() { return nullptr; }
std::shared_ptr<ResourceBundle> LinuxPlatform::resourceBundle() { return nullptr; }
std::shared_ptr<LocationService> LinuxPlatform::locationService() { return nullptr; }
std::shared_ptr<BleCentral> LinuxPlatform::bleCentral() { return nullptr; }
std::shared_ptr<NotificationCenter> LinuxPlatform::notificationCenter() { return nullptr; }
std::shared_ptr<ReachabilityService> LinuxPlatform::reachability() { return nullptr; }
std::shared_ptr<UserDefaults> LinuxPlatform::userDefaults() { return nullptr; }
std::shared_ptr<DeviceInfo> LinuxPlatform::deviceInfo() { return nullptr; }
std::shared_ptr<AdvertisingIdentity> LinuxPlatform::advertisingIdentity() { return nullptr; }
std::shared_ptr<HttpSession> LinuxPlatform::httpSession() { return nullptr; }
std::shared_ptr<UrlToolkit> LinuxPlatform::urlToolkit() { return nullptr; }

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<LinuxPlatform>(); }

}  // namespace lumora::platform
