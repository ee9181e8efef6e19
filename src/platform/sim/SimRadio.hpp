#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/BleCentral.hpp"
#include "platform/Clock.hpp"
#include "platform/MainQueue.hpp"

namespace lumora::platform {

/// Something that hears the simulated air (a central, a location service).
class SimRadioReceiver {
 public:
  virtual ~SimRadioReceiver() = default;
  virtual void receive(const AdvertisementData& advertisement) = 0;
};

/// The simulated air: advertisements put on it reach every receiver at once.
/// Repeated transmissions run on the main queue's timers, so on virtual time
/// they cost nothing to wait for.
///
///   auto radio = SimRadio::create(queue, clock);
///   radio->addReceiver(central);
///   radio->transmitEvery(SimRadio::iBeaconAdvertisement(uuid, 1, 2), 1.0, clock->now() + 30s);
class SimRadio : public std::enable_shared_from_this<SimRadio> {
 public:
  static std::shared_ptr<SimRadio> create(std::shared_ptr<MainQueue> mainQueue,
                                          std::shared_ptr<Clock> clock);
  ~SimRadio();

  /// Receivers are held weakly; a released one is skipped.
  void addReceiver(std::weak_ptr<SimRadioReceiver> receiver);

  /// Every receiver hears the advertisement now. Call on the main queue.
  void transmit(const AdvertisementData& advertisement);
  /// Transmits once, delaySeconds from now.
  void transmitAfter(double delaySeconds, AdvertisementData advertisement);
  /// Transmits now and then every periodSeconds while the clock is not past
  /// `until`.
  void transmitEvery(AdvertisementData advertisement, double periodSeconds, TimePoint until);
  /// Ends every pending transmission.
  void silence();

  /// A standard iBeacon (see IBeaconFrame). Throws std::invalid_argument when
  /// proximityUuid is not a UUID.
  static AdvertisementData iBeaconAdvertisement(const std::string& proximityUuid,
                                                std::uint16_t major, std::uint16_t minor,
                                                std::int8_t measuredPower = -59);
  /// The library's custom beacon: manufacturer data 34 12 03, the 24-bit
  /// binding identifier big-endian, the eight space bytes (spaceId: sixteen
  /// hexadecimal digits) and eleven zero bytes, advertising serviceUuid (in
  /// its 128-bit form, also when given a short form such as "FEAA").
  /// Throws std::invalid_argument when spaceId is not sixteen hex digits.
  static AdvertisementData customBeaconAdvertisement(std::string_view spaceId,
                                                     std::uint32_t bindingId,
                                                     const std::string& serviceUuid);

 private:
  SimRadio(std::shared_ptr<MainQueue> mainQueue, std::shared_ptr<Clock> clock);
  /// Holds a pending transmission so that silence() can end it.
  void keep(std::shared_ptr<Timer> transmission);

  const std::shared_ptr<MainQueue> mainQueue_;
  const std::shared_ptr<Clock> clock_;
  std::vector<std::weak_ptr<SimRadioReceiver>> receivers_;
  std::vector<std::shared_ptr<Timer>> transmissions_;
};

}  // namespace lumora::platform
