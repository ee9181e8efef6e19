#include "platform/sim/SimPhone.hpp"

#include "platform/net/CurlHttpSession.hpp"
#include "platform/net/CurlUrlToolkit.hpp"
#include "platform/sim/TrackedHttpSession.hpp"

namespace lumora::platform {

SimPhone::SimPhone(const SimPhoneOptions& options)
    : platform(std::make_shared<SimPlatform>(options.start)),
      radio(SimRadio::create(platform->virtualQueue, platform->virtualClock)),
      central(std::make_shared<SimBleCentral>(platform->virtualQueue, options.bluetoothState)),
      location(SimLocationService::create(platform->virtualQueue, platform->virtualClock,
                                          options.locationStatus)),
      notifications(
          std::make_shared<SimNotificationCenter>(platform->virtualQueue, platform->virtualClock)),
      reachability(std::make_shared<SimReachabilityService>(options.network)),
      defaults(std::make_shared<MemoryUserDefaults>(options.userDefaults)),
      device(std::make_shared<SimDeviceInfo>(options.machine, options.systemName,
                                             options.systemVersion)),
      advertising(std::make_shared<SimAdvertisingIdentity>(options.trackingAuthorized,
                                                           options.advertisingIdentifier)) {
  radio->addReceiver(central);
  radio->addReceiver(location);
  notifications->setAuthorizationStatus(options.notificationStatus);

  CurlHttpSessionOptions http;
  http.extraCaFile = options.caFile;
  platform->http = std::make_shared<TrackedHttpSession>(std::make_shared<CurlHttpSession>(http),
                                                        platform->virtualQueue);
  platform->urls = std::make_shared<CurlUrlToolkit>();
  platform->location = location;
  platform->central = central;
  platform->notifications = notifications;
  platform->reachabilityService = reachability;
  platform->defaults = defaults;
  platform->device = device;
  platform->advertising = advertising;
}

}  // namespace lumora::platform
