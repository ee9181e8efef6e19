#pragma once

#include <memory>

#include "platform/ble/BleLocationService.hpp"
#include "platform/sim/SimRadio.hpp"

namespace lumora::platform {

/// The location service of the simulator: region monitoring and ranging
/// computed from what it hears on the simulated air, exactly as the Linux
/// backend computes them from BlueZ discoveries. The simulated air carries
/// every advertisement, so ranging needs no grace. The script changes the
/// authorization with setAuthorizationStatus() at any time.
///
///   auto location = SimLocationService::create(queue, clock, 3);
///   radio->addReceiver(location);
class SimLocationService : public BleLocationService, public SimRadioReceiver {
 public:
  static std::shared_ptr<SimLocationService> create(std::shared_ptr<MainQueue> mainQueue,
                                                    std::shared_ptr<Clock> clock,
                                                    std::int64_t authorizationStatus,
                                                    Timing timing = {});

  void receive(const AdvertisementData& advertisement) override;

 private:
  using BleLocationService::BleLocationService;
};

}  // namespace lumora::platform
