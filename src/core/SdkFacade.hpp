#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/beacon/BeaconManager.hpp"
#include "core/config/APIConfiguration.hpp"
#include "core/config/ConfigurationFile.hpp"
#include "core/net/CreativeWebService.hpp"
#include "core/net/UserEventWebService.hpp"
#include "core/notify/NotificationManager.hpp"
#include "core/throttle/CreativeThrottle.hpp"
#include "lumora/ClientProfile.hpp"
#include "lumora/Environment.hpp"
#include "lumora/LumoraAdBeaconCallback.hpp"
#include "platform/Platform.hpp"

namespace lumora {

/// The SDK's engine behind the public LumoraAdBeaconSDK handle: its lifecycle
/// (initiate, start, stop, profile updates) and the pipeline that turns one
/// detected beacon into a delivered creative. The constructor builds the
/// detection chain from the platform; initiate builds the network side.
///
/// Call it from the main queue (host calls, beacon detections); creative
/// continuations run on the HTTP session's thread and reach the host only
/// through the main-thread callback wrapper.
class SdkFacade : public BeaconListener, public std::enable_shared_from_this<SdkFacade> {
 public:
  static std::shared_ptr<SdkFacade> create(std::shared_ptr<platform::Platform> platform);

  void initiate(const ClientProfile& clientProfile,
                std::shared_ptr<LumoraAdBeaconCallback> callback, Environment environment);
  void updateClientProfile(const ClientProfile& profile);
  void start();
  void stop();
  bool isScanning() const noexcept;
  void onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                        std::int64_t bindingId) override;

 private:
  class ListenerProxy;
  struct Detection;

  explicit SdkFacade(std::shared_ptr<platform::Platform> platform);
  void buildBeaconManager();
  void buildServices(const APIConfiguration& apiConfig, const ClientProfile& clientProfile);
  void onStartCompleted(bool success, const std::optional<LumoraAdBeaconError>& error);
  bool isConnectedToInternet() const;
  static void onCreativeFetched(const Detection& detection, std::optional<Creative> creative,
                                std::optional<LumoraAdBeaconError> error);
  static void reportRequest(const Detection& detection);
  static void showNotification(const Detection& detection, const Creative& creative);
  void reportError(LumoraAdBeaconErrorType code, const std::string& message) const;

  const std::shared_ptr<platform::Platform> platform_;
  /// sdk.plist, read once for the beacon settings and the endpoints.
  const std::shared_ptr<const ConfigurationFile> configurationFile_;
  std::optional<APIConfiguration> apiConfig_;
  std::optional<ClientProfile> clientProfile_;
  std::shared_ptr<LumoraAdBeaconCallback> callback_;
  std::shared_ptr<BeaconManager> beaconManager_;
  std::shared_ptr<CreativeWebService> creativeWebService_;
  std::shared_ptr<UserEventWebService> userEventWebService_;
  std::shared_ptr<NotificationManager> notificationManager_;
  const std::shared_ptr<CreativeThrottle> creativeThrottle_;
  bool isScanning_ = false;
};

}  // namespace lumora
