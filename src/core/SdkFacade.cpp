#include "core/SdkFacade.hpp"

#include <string_view>
#include <utility>

#include "core/MainThreadCallbackWrapper.hpp"
#include "core/beacon/AppleBeaconScanner.hpp"
#include "core/beacon/CBCentralManagerAdapter.hpp"
#include "core/beacon/CustomBeaconScanner.hpp"
#include "core/beacon/LocationManagerAdapter.hpp"
#include "core/config/APIConfigurationError.hpp"
#include "core/config/APIConfigurationFactory.hpp"
#include "core/config/BeaconSettingsFactory.hpp"
#include "core/net/EventRequest.hpp"
#include "core/net/HttpRequestSender.hpp"
#include "core/notify/UserNotificationCenterAdapter.hpp"
#include "core/util/LumoraLogger.hpp"
#include "core/util/Reachability.hpp"
#include "lumora/BeaconSettingsError.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "LumoraAdBeaconSDK";
constexpr std::string_view kInit = "init(configFactory:beaconSettingsFactory:)";
constexpr std::string_view kInitiate = "initiate(clientProfile:callback:environment:)";
constexpr std::string_view kOnBeaconDetected = "onBeaconDetected(companyId:spaceId:bindingId:)";

constexpr std::string_view kNotInitialized =
    "LumoraAdBeaconSDK is not initialized, please call initiate method first";
constexpr std::string_view kNoClientProfile =
    "LumoraAdBeaconSDK is not initialized with client profile, please call initiate method first";
constexpr std::string_view kNoInternet = "No internet connection available";

}  // namespace

// Reports beacons to the facade without keeping it alive, so that a facade
// and its beacon manager do not own each other.
class SdkFacade::ListenerProxy : public BeaconListener {
 public:
  explicit ListenerProxy(std::weak_ptr<SdkFacade> facade) : facade_(std::move(facade)) {}

  void onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                        std::int64_t bindingId) override {
    if (auto facade = facade_.lock()) facade->onBeaconDetected(companyId, spaceId, bindingId);
  }

 private:
  std::weak_ptr<SdkFacade> facade_;
};

// Everything a creative fetch carries from the moment of detection, so that the
// continuation on the HTTP thread reads no facade field.
struct SdkFacade::Detection {
  std::weak_ptr<SdkFacade> facade;
  std::int64_t companyId;
  std::string spaceId;
  std::int64_t bindingId;
  ClientProfile clientProfile;
  std::shared_ptr<LumoraAdBeaconCallback> callback;
  std::shared_ptr<UserEventWebService> eventService;
  std::shared_ptr<NotificationManager> notificationManager;
  std::shared_ptr<CreativeThrottle> throttle;
  std::shared_ptr<platform::Clock> clock;
};

std::shared_ptr<SdkFacade> SdkFacade::create(std::shared_ptr<platform::Platform> platform) {
  std::shared_ptr<SdkFacade> facade(new SdkFacade(std::move(platform)));
  facade->buildBeaconManager();
  return facade;
}

SdkFacade::SdkFacade(std::shared_ptr<platform::Platform> platform)
    : platform_(std::move(platform)),
      configurationFile_(std::make_shared<const ConfigurationFile>(*platform_->resourceBundle())),
      creativeThrottle_(std::make_shared<CreativeThrottle>(platform_->clock())) {}

void SdkFacade::buildBeaconManager() {
  BeaconSettings settings;
  try {
    settings = BeaconSettingsFactory(configurationFile_).createBeaconSettings();
  } catch (const BeaconSettingsError& error) {
    LUMORA_LOG(LogLevel::error, kLogFile, kInit,
               "Failed to initialize BeaconManager: " + error.localizedDescription());
    return;
  }
  auto locationManager = LocationManagerAdapter::create(platform_->locationService());
  auto appleBeaconScanner = AppleBeaconScanner::create(locationManager, settings);
  auto centralManager =
      CBCentralManagerAdapter::create(platform_->bleCentral(), platform_->mainQueue());
  auto customBeaconScanner = CustomBeaconScanner::create(centralManager, locationManager, settings);
  auto manager = BeaconManager::create(appleBeaconScanner, customBeaconScanner, settings,
                                       platform_->mainQueue(), platform_->clock());
  manager->setListener(std::make_shared<ListenerProxy>(weak_from_this()));
  beaconManager_ = std::move(manager);
}

void SdkFacade::initiate(const ClientProfile& clientProfile,
                         std::shared_ptr<LumoraAdBeaconCallback> callback,
                         Environment environment) {
  if (apiConfig_) {
    LUMORA_LOG(LogLevel::warning, kLogFile, kInitiate,
               "LumoraAdBeaconSDK is already initialized. Environment can only be set during "
               "initialization.");
    return;
  }
  if (!callback) {
    // Every result of the SDK reaches the host through this callback: without one there is
    // nobody to tell, so the call is refused here rather than failing on a later main-loop turn.
    LUMORA_LOG(LogLevel::error, kLogFile, kInitiate,
               "LumoraAdBeaconSDK cannot be initialized without a callback; initiate was ignored");
    return;
  }
  clientProfile_ = clientProfile;
  callback_ =
      std::make_shared<MainThreadCallbackWrapper>(std::move(callback), platform_->mainQueue());
  try {
    apiConfig_ = APIConfigurationFactory(configurationFile_).createAPIConfiguration(environment);
  } catch (const APIConfigurationError& error) {
    reportError(LumoraAdBeaconErrorType::configurationError, error.localizedDescription());
    return;
  } catch (const std::exception& error) {
    reportError(LumoraAdBeaconErrorType::configurationError,
                std::string("Unexpected error during SDK initialization: ") + error.what());
    return;
  }
  buildServices(*apiConfig_, clientProfile);
  callback_->onInitialized();
}

void SdkFacade::buildServices(const APIConfiguration& apiConfig,
                              const ClientProfile& clientProfile) {
  const auto session = platform_->httpSession();
  const std::shared_ptr<const platform::UrlToolkit> urls = platform_->urlToolkit();
  creativeWebService_ = std::make_shared<CreativeWebService>(
      apiConfig, std::make_shared<HttpRequestSender>(session), urls);
  userEventWebService_ = std::make_shared<UserEventWebService>(
      apiConfig, std::make_shared<HttpRequestSender>(session), urls, clientProfile);
  notificationManager_ = NotificationManager::create(
      userEventWebService_,
      std::make_shared<UserNotificationCenterAdapter>(platform_->notificationCenter()),
      platform_->mainQueue(), platform_->clock());
  notificationManager_->setNotificationClickHandler(
      [weakSelf = weak_from_this()](const LumoraAdCreative& creative) {
        auto self = weakSelf.lock();
        if (self && self->callback_) self->callback_->onNotificationClicked(creative);
      });
}

void SdkFacade::updateClientProfile(const ClientProfile& profile) {
  clientProfile_ = profile;
  if (userEventWebService_) userEventWebService_->setClientProfile(profile);
}

void SdkFacade::start() {
  if (!callback_) {
    LUMORA_LOG(LogLevel::error, kLogFile, "start()", kNotInitialized);
    return;
  }
  if (!clientProfile_) {
    LUMORA_LOG(LogLevel::error, kLogFile, "start()", kNoClientProfile);
    reportError(LumoraAdBeaconErrorType::configurationError, std::string(kNoClientProfile));
    return;
  }
  if (isScanning_) {
    LUMORA_LOG(LogLevel::info, kLogFile, "start()", "LumoraAdBeaconSDK is already running");
    return;
  }
  if (!beaconManager_) {
    reportError(LumoraAdBeaconErrorType::configurationError, "BeaconManager is not initialized");
    return;
  }
  beaconManager_->startScanning(
      [weakSelf = weak_from_this()](bool success, std::optional<LumoraAdBeaconError> error) {
        if (auto self = weakSelf.lock()) self->onStartCompleted(success, error);
      });
}

void SdkFacade::onStartCompleted(bool success, const std::optional<LumoraAdBeaconError>& error) {
  if (!success && error) {
    LUMORA_LOG(LogLevel::error, kLogFile, "start()", "Beacon scanning failed: " + error->message());
    if (callback_) callback_->onError(*error);
    return;
  }
  LUMORA_LOG(LogLevel::info, kLogFile, "start()", "Beacon scanning started successfully");
  isScanning_ = true;
}

void SdkFacade::stop() {
  if (!callback_) {
    LUMORA_LOG(LogLevel::error, kLogFile, "stop()", kNotInitialized);
    return;
  }
  if (!isScanning_) {
    LUMORA_LOG(LogLevel::info, kLogFile, "stop()", "LumoraAdBeaconSDK is not started");
    return;
  }
  if (beaconManager_) beaconManager_->stopScanning();
  isScanning_ = false;
}

bool SdkFacade::isScanning() const noexcept { return isScanning_; }

void SdkFacade::reportError(LumoraAdBeaconErrorType code, const std::string& message) const {
  if (callback_) callback_->onError(LumoraAdBeaconError(code, message));
}

bool SdkFacade::isConnectedToInternet() const {
  try {
    return Reachability(platform_->reachability()).isConnected();
  } catch (const ReachabilityError& error) {
    LUMORA_LOG(LogLevel::error, kLogFile, "isConnectedToInternet()",
               "Failed to check internet connection: " + error.localizedDescription());
    return false;
  }
}

void SdkFacade::onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                                 std::int64_t bindingId) {
  if (!callback_) {
    LUMORA_LOG(LogLevel::error, kLogFile, kOnBeaconDetected, kNotInitialized);
    return;
  }
  if (!clientProfile_) {
    LUMORA_LOG(LogLevel::error, kLogFile, kOnBeaconDetected, kNoClientProfile);
    reportError(LumoraAdBeaconErrorType::configurationError, std::string(kNoClientProfile));
    return;
  }
  if (!isConnectedToInternet()) {
    LUMORA_LOG(LogLevel::error, kLogFile, kOnBeaconDetected, kNoInternet);
    reportError(LumoraAdBeaconErrorType::internetConnectionUnavailable, std::string(kNoInternet));
    return;
  }
  if (!userEventWebService_) {
    reportError(LumoraAdBeaconErrorType::configurationError,
                "UserEventWebService is not initialized");
    return;
  }
  if (!creativeWebService_) {
    reportError(LumoraAdBeaconErrorType::configurationError,
                "CreativeWebService is not initialized");
    return;
  }
  Detection detection{weak_from_this(),
                      companyId,
                      spaceId,
                      bindingId,
                      *clientProfile_,
                      callback_,
                      userEventWebService_,
                      notificationManager_,
                      creativeThrottle_,
                      platform_->clock()};
  creativeWebService_->getCreative(
      bindingId, [detection = std::move(detection)](std::optional<Creative> creative,
                                                    std::optional<LumoraAdBeaconError> error) {
        if (detection.facade.expired()) return;
        onCreativeFetched(detection, std::move(creative), std::move(error));
      });
}

void SdkFacade::onCreativeFetched(const Detection& detection, std::optional<Creative> creative,
                                  std::optional<LumoraAdBeaconError> error) {
  const auto& callback = detection.callback;
  if (error) {
    callback->onError(*error);
    return;
  }
  if (!creative) {
    callback->onError(LumoraAdBeaconError(
        LumoraAdBeaconErrorType::invalidCreative,
        "Invalid Creative data for bindingId: " + std::to_string(detection.bindingId)));
    return;
  }
  reportRequest(detection);
  if (creative->frequencyCapping &&
      !detection.throttle->process(detection.companyId, detection.spaceId, detection.bindingId,
                                   creative->frequencyCapping)) {
    callback->onError(LumoraAdBeaconError(LumoraAdBeaconErrorType::frequencyCapExceeded));
    return;
  }
  callback->onCreativeReceived(LumoraAdCreative(creative->data, creative->creativeId,
                                                detection.bindingId, creative->campaignId,
                                                detection.spaceId));
  showNotification(detection, *creative);
}

void SdkFacade::reportRequest(const Detection& detection) {
  EventRequest event{EventType::request,  EventRequest::timestampAt(detection.clock->now()),
                     detection.bindingId, detection.clientProfile,
                     detection.spaceId,   std::nullopt,
                     std::nullopt};
  detection.eventService->sendEvent(
      event, [facade = detection.facade, callback = detection.callback](
                 bool success, std::optional<platform::PlatformError> error) {
        if (success || !error) return;
        LUMORA_LOG(LogLevel::error, kLogFile, kOnBeaconDetected,
                   "Failed to send event for requesting creative data");
        if (facade.expired()) return;
        callback->onError(
            LumoraAdBeaconError(LumoraAdBeaconErrorType::unknown, error->localizedDescription));
      });
}

void SdkFacade::showNotification(const Detection& detection, const Creative& creative) {
  if (!detection.notificationManager) {
    detection.callback->onError(LumoraAdBeaconError(LumoraAdBeaconErrorType::configurationError,
                                                    "NotificationManager is not initialized"));
    return;
  }
  detection.notificationManager->showNotification(
      creative.title, creative.message, creative.data, detection.bindingId, creative.campaignId,
      creative.creativeId, detection.clientProfile, detection.spaceId,
      [callback = detection.callback](bool success, std::optional<NotificationError> error) {
        if (success || !error) return;
        callback->onError(
            LumoraAdBeaconError(LumoraAdBeaconErrorType::unknown,
                                "Failed to show notification: " + localizedDescription(*error)));
      });
}

}  // namespace lumora
