#pragma once

#include <memory>

#include "platform/Platform.hpp"
#include "platform/sim/MemoryResourceBundle.hpp"
#include "platform/sim/RecordingSystemLog.hpp"
#include "platform/sim/VirtualClock.hpp"
#include "platform/sim/VirtualMainQueue.hpp"

namespace lumora::platform {

/// A platform assembled from scriptable parts. The clock, main queue, log and
/// bundle are always the virtual ones; every other service is whatever the
/// owner puts in its field.
class SimPlatform : public Platform {
 public:
  explicit SimPlatform(TimePoint start = TimePoint{});

  std::shared_ptr<Clock> clock() override { return virtualClock; }
  std::shared_ptr<MainQueue> mainQueue() override { return virtualQueue; }
  std::shared_ptr<SystemLog> systemLog() override { return log; }
  std::shared_ptr<ResourceBundle> resourceBundle() override { return bundle; }
  std::shared_ptr<LocationService> locationService() override { return location; }
  std::shared_ptr<BleCentral> bleCentral() override { return central; }
  std::shared_ptr<NotificationCenter> notificationCenter() override { return notifications; }
  std::shared_ptr<ReachabilityService> reachability() override { return reachabilityService; }
  std::shared_ptr<UserDefaults> userDefaults() override { return defaults; }
  std::shared_ptr<DeviceInfo> deviceInfo() override { return device; }
  std::shared_ptr<AdvertisingIdentity> advertisingIdentity() override { return advertising; }
  std::shared_ptr<HttpSession> httpSession() override { return http; }
  std::shared_ptr<UrlToolkit> urlToolkit() override { return urls; }

  std::shared_ptr<VirtualClock> virtualClock;
  std::shared_ptr<VirtualMainQueue> virtualQueue;
  std::shared_ptr<RecordingSystemLog> log;
  std::shared_ptr<MemoryResourceBundle> bundle;
  std::shared_ptr<LocationService> location;
  std::shared_ptr<BleCentral> central;
  std::shared_ptr<NotificationCenter> notifications;
  std::shared_ptr<ReachabilityService> reachabilityService;
  std::shared_ptr<UserDefaults> defaults;
  std::shared_ptr<DeviceInfo> device;
  std::shared_ptr<AdvertisingIdentity> advertising;
  std::shared_ptr<HttpSession> http;
  std::shared_ptr<UrlToolkit> urls;
};

}  // namespace lumora::platform
