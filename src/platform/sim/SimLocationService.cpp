#include "platform/sim/SimLocationService.hpp"

namespace lumora::platform {

std::shared_ptr<SimLocationService> SimLocationService::create(std::shared_ptr<MainQueue> mainQueue,
                                                               std::shared_ptr<Clock> clock,
                                                               std::int64_t authorizationStatus,
                                                               Timing timing) {
  return std::shared_ptr<SimLocationService>(
      new SimLocationService(std::move(mainQueue), std::move(clock), authorizationStatus, timing));
}

void SimLocationService::receive(const AdvertisementData& advertisement) {
  onAdvertisement(advertisement);
}

}  // namespace lumora::platform
