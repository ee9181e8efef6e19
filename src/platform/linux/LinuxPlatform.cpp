#include "platform/linux/LinuxPlatform.hpp"

#include <cstdlib>
#include <utility>

#include "platform/ble/BleLocationService.hpp"
#include "platform/linux/BluezCentral.hpp"
#include "platform/linux/CertificateTrust.hpp"
#include "platform/linux/FreedesktopNotificationCenter.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "platform/linux/LinuxAdvertisingIdentity.hpp"
#include "platform/linux/LinuxDeviceInfo.hpp"
#include "platform/linux/LinuxResourceBundle.hpp"
#include "platform/linux/LinuxSystemLog.hpp"
#include "platform/linux/LocationPolicy.hpp"
#include "platform/linux/NetlinkReachabilityService.hpp"
#include "platform/linux/PlistUserDefaults.hpp"
#include "platform/linux/SystemClock.hpp"
#include "platform/net/CurlHttpSession.hpp"
#include "platform/net/CurlUrlToolkit.hpp"

namespace lumora::platform {
namespace {

/// Region monitoring on the central's advertisement stream: every
/// advertisement the central hears goes to the service, and the central runs
/// discovery for it exactly while the service monitors or ranges something.
/// Both links are weak, so neither object keeps the other alive.
void connectToCentral(const std::shared_ptr<BleLocationService>& service,
                      const std::shared_ptr<BluezCentral>& central) {
  central->setAdvertisementMonitor(
      [weakService = std::weak_ptr(service)](const AdvertisementData& advertisement) {
        if (auto target = weakService.lock()) target->onAdvertisement(advertisement);
      });
  service->setDemandObserver([weakCentral = std::weak_ptr(central)](bool needed) {
    if (auto target = weakCentral.lock()) target->setMonitoringDemand(needed);
  });
  central->setMonitoringDemand(service->needsAdvertisements());
}

/// Standard output and the configured system-log socket; the minimum level is
/// what LUMORA_LOG_LEVEL says when the platform is made (the SDK's first use).
std::shared_ptr<LinuxSystemLog> makeSystemLog(const LinuxPlatformOptions& options) {
  LinuxSystemLog::Options log;
  log.socketPath = options.systemLogSocket;
  if (const char* level = std::getenv("LUMORA_LOG_LEVEL")) log.requestedLevel = level;
  return std::make_shared<LinuxSystemLog>(std::move(log));
}

BluezCentral::Options bluezOptions(const LinuxPlatformOptions& options) {
  BluezCentral::Options bluez;
  bluez.busAddress = options.bluetoothBusAddress;
  return bluez;
}

/// Ranging lists the iBeacons BlueZ reported in the last second, with one more
/// second for radio jitter. A present beacon is reported at least once per
/// discovery session (4.5 s) or monitor refresh (2 s), well inside the gate's
/// 10 seconds, so the gate stays open while it is heard and closes 10 to 11
/// seconds after the last report.
BleLocationService::Timing bluezStreamTiming() {
  BleLocationService::Timing timing;
  timing.rangingGraceSeconds = 1.0;
  return timing;
}

}  // namespace

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options)
    : options_(std::move(options)),
      clock_(std::make_shared<SystemClock>()),
      systemLog_(makeSystemLog(options_)) {}

template <class T, class Make>
std::shared_ptr<T> LinuxPlatform::lazy(std::shared_ptr<T>& slot, Make make) {
  std::lock_guard lock(mutex_);
  if (!slot) slot = make();
  return slot;
}

std::shared_ptr<Clock> LinuxPlatform::clock() { return clock_; }

std::shared_ptr<SystemLog> LinuxPlatform::systemLog() { return systemLog_; }

std::shared_ptr<MainQueue> LinuxPlatform::mainQueue() {
  return lazy(mainQueue_, [] { return std::make_shared<GLibMainQueue>(); });
}

std::shared_ptr<ResourceBundle> LinuxPlatform::resourceBundle() {
  return lazy(bundle_, [this]() -> std::shared_ptr<ResourceBundle> {
    if (options_.bundleDirectory) {
      return std::make_shared<LinuxResourceBundle>(*options_.bundleDirectory);
    }
    return std::make_shared<LinuxResourceBundle>();
  });
}

std::shared_ptr<BluezCentral> LinuxPlatform::bluezLocked() {
  return lazy(central_,
              [this] { return BluezCentral::create(mainQueue(), bluezOptions(options_)); });
}

std::shared_ptr<BleCentral> LinuxPlatform::bleCentral() { return bluezLocked(); }

std::shared_ptr<LocationService> LinuxPlatform::locationService() {
  return lazy(location_, [this] {
    auto service = BleLocationService::create(
        mainQueue(), clock_,
        options_.locationAuthorization.value_or(configuredLocationAuthorization()),
        bluezStreamTiming());
    connectToCentral(service, bluezLocked());
    return service;
  });
}

void LinuxPlatform::setLocationAuthorization(std::int64_t status) {
  std::shared_ptr<BleLocationService> service;
  {
    std::lock_guard lock(mutex_);
    service = location_;
  }
  if (service) mainQueue()->post([service, status] { service->setAuthorizationStatus(status); });
}

std::shared_ptr<NotificationCenter> LinuxPlatform::notificationCenter() {
  return lazy(notifications_, [this]() -> std::shared_ptr<NotificationCenter> {
    FreedesktopNotificationCenter::Options notify;
    notify.busAddress = options_.notificationBusAddress;
    return FreedesktopNotificationCenter::create(mainQueue(), notify);
  });
}

std::shared_ptr<ReachabilityService> LinuxPlatform::reachability() {
  return lazy(reachability_, [] { return std::make_shared<NetlinkReachabilityService>(); });
}

std::shared_ptr<UserDefaults> LinuxPlatform::userDefaults() {
  return lazy(userDefaults_, [this] {
    return std::make_shared<PlistUserDefaults>(
        options_.userDefaultsFile.value_or(PlistUserDefaults::defaultPath()));
  });
}

std::shared_ptr<DeviceInfo> LinuxPlatform::deviceInfo() {
  return lazy(deviceInfo_, [] { return std::make_shared<LinuxDeviceInfo>(); });
}

std::shared_ptr<AdvertisingIdentity> LinuxPlatform::advertisingIdentity() {
  return lazy(advertising_, [] { return std::make_shared<LinuxAdvertisingIdentity>(); });
}

std::shared_ptr<HttpSession> LinuxPlatform::httpSession() {
  return lazy(http_, [this] {
    CurlHttpSessionOptions http = options_.http;
    if (!http.extraCaFile) http.extraCaFile = configuredExtraCaFile();
    return std::make_shared<CurlHttpSession>(std::move(http));
  });
}

std::shared_ptr<UrlToolkit> LinuxPlatform::urlToolkit() {
  return lazy(urls_, [] { return std::make_shared<CurlUrlToolkit>(); });
}

std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<LinuxPlatform>(); }

}  // namespace lumora::platform
