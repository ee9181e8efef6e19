#include "platform/sim/SimRadio.hpp"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "core/util/Uuid.hpp"
#include "platform/ble/IBeaconFrame.hpp"

namespace lumora::platform {
namespace {

constexpr std::size_t kCustomBeaconLength = 25;

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::uint8_t hexByte(std::string_view two) {
  std::uint8_t value = 0;
  for (const char c : two) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) {
      throw std::invalid_argument("not hexadecimal: " + std::string(two));
    }
    const int digit = std::isdigit(static_cast<unsigned char>(c))
                          ? c - '0'
                          : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
    value = static_cast<std::uint8_t>(value * 16 + digit);
  }
  return value;
}

}  // namespace

std::shared_ptr<SimRadio> SimRadio::create(std::shared_ptr<MainQueue> mainQueue,
                                           std::shared_ptr<Clock> clock) {
  return std::shared_ptr<SimRadio>(new SimRadio(std::move(mainQueue), std::move(clock)));
}

SimRadio::SimRadio(std::shared_ptr<MainQueue> mainQueue, std::shared_ptr<Clock> clock)
    : mainQueue_(std::move(mainQueue)), clock_(std::move(clock)) {}

SimRadio::~SimRadio() { silence(); }

void SimRadio::addReceiver(std::weak_ptr<SimRadioReceiver> receiver) {
  receivers_.push_back(std::move(receiver));
}

void SimRadio::transmit(const AdvertisementData& advertisement) {
  std::erase_if(receivers_, [](const auto& r) { return r.expired(); });
  // A receiver may react by adding receivers; hear on a copy of the list.
  const auto receivers = receivers_;
  for (const auto& weak : receivers) {
    if (auto receiver = weak.lock()) receiver->receive(advertisement);
  }
}

void SimRadio::transmitAfter(double delaySeconds, AdvertisementData advertisement) {
  std::weak_ptr<SimRadio> weakSelf = weak_from_this();
  keep(mainQueue_->scheduleTimer(delaySeconds, false,
                                 [weakSelf, advertisement = std::move(advertisement)](Timer&) {
                                   if (auto self = weakSelf.lock()) self->transmit(advertisement);
                                 }));
}

void SimRadio::transmitEvery(AdvertisementData advertisement, double periodSeconds,
                             TimePoint until) {
  if (clock_->now() > until) return;
  transmit(advertisement);
  std::weak_ptr<SimRadio> weakSelf = weak_from_this();
  keep(mainQueue_->scheduleTimer(
      periodSeconds, true,
      [weakSelf, until, advertisement = std::move(advertisement)](Timer& timer) {
        auto self = weakSelf.lock();
        if (!self || self->clock_->now() > until) {
          timer.invalidate();
          return;
        }
        self->transmit(advertisement);
      }));
}

void SimRadio::keep(std::shared_ptr<Timer> transmission) {
  std::erase_if(transmissions_, [](const auto& t) { return !t->isValid(); });
  transmissions_.push_back(std::move(transmission));
}

void SimRadio::silence() {
  for (const auto& timer : transmissions_) timer->invalidate();
  transmissions_.clear();
}

AdvertisementData SimRadio::iBeaconAdvertisement(const std::string& proximityUuid,
                                                 std::uint16_t major, std::uint16_t minor,
                                                 std::int8_t measuredPower) {
  const IBeaconFrame frame{upperCase(proximityUuid), major, minor, measuredPower};
  AdvertisementData advertisement;
  advertisement.manufacturerData = frame.encode();
  advertisement.peripheralId =
      "ibeacon-" + frame.proximityUuid + "-" + std::to_string(major) + "-" + std::to_string(minor);
  advertisement.rssi = measuredPower;
  return advertisement;
}

AdvertisementData SimRadio::customBeaconAdvertisement(std::string_view spaceId,
                                                      std::uint32_t bindingId,
                                                      const std::string& serviceUuid) {
  if (spaceId.size() != 16) throw std::invalid_argument("space id needs 16 hex digits");
  std::vector<std::uint8_t> data{0x34,
                                 0x12,
                                 0x03,
                                 static_cast<std::uint8_t>(bindingId >> 16),
                                 static_cast<std::uint8_t>(bindingId >> 8),
                                 static_cast<std::uint8_t>(bindingId)};
  for (std::size_t i = 0; i < spaceId.size(); i += 2) data.push_back(hexByte(spaceId.substr(i, 2)));
  data.resize(kCustomBeaconLength, 0x00);

  AdvertisementData advertisement;
  advertisement.manufacturerData = std::move(data);
  const auto uuid = Uuid::parseBluetooth(serviceUuid);
  advertisement.serviceUuids = {uuid ? uuid->text() : upperCase(serviceUuid)};
  advertisement.peripheralId = "custom-" + std::string(spaceId) + "-" + std::to_string(bindingId);
  return advertisement;
}

}  // namespace lumora::platform
