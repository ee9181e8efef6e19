#include "lumora/LumoraAdBeaconSDK.hpp"

#include <utility>

#include "core/SdkFacade.hpp"

namespace lumora {

LumoraAdBeaconSDK& LumoraAdBeaconSDK::shared() {
  // Created once, thread-safely, and never destroyed: the SDK lives for the
  // whole process and may still be reached from other threads during exit.
  static LumoraAdBeaconSDK* const instance =
      new LumoraAdBeaconSDK(SdkFacade::create(platform::Platform::installed()));
  return *instance;
}

LumoraAdBeaconSDK::LumoraAdBeaconSDK(std::shared_ptr<SdkFacade> facade)
    : facade_(std::move(facade)) {}

LumoraAdBeaconSDK::~LumoraAdBeaconSDK() = default;

void LumoraAdBeaconSDK::initiate(const ClientProfile& clientProfile,
                                 std::shared_ptr<LumoraAdBeaconCallback> callback,
                                 Environment environment) {
  facade_->initiate(clientProfile, std::move(callback), environment);
}

void LumoraAdBeaconSDK::updateClientProfile(const ClientProfile& profile) {
  facade_->updateClientProfile(profile);
}

void LumoraAdBeaconSDK::start() { facade_->start(); }

void LumoraAdBeaconSDK::stop() { facade_->stop(); }

bool LumoraAdBeaconSDK::isScanning() const { return facade_->isScanning(); }

void LumoraAdBeaconSDK::onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                                         std::int64_t bindingId) {
  facade_->onBeaconDetected(companyId, spaceId, bindingId);
}

}  // namespace lumora
