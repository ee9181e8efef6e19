#include "support/BluezCentralWorld.hpp"

namespace lumora::test {

std::vector<platform::AdvertisementData> BluezCentralWorld::RecordingDelegate::from(
    const std::string& address) const {
  std::vector<platform::AdvertisementData> result;
  for (const auto& advertisement : advertisements) {
    if (advertisement.peripheralId == address) result.push_back(advertisement);
  }
  return result;
}

void BluezCentralWorld::SetUp() {
  if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
  bus = std::make_unique<DbusMockHarness>();
  bluez = std::make_unique<MockBluez>(*bus);
  bluez->addAdapter();
}

void BluezCentralWorld::makeCentral(platform::BluezCentral::Options options) {
  options.busAddress = bus->address();
  central = platform::BluezCentral::create(queue, options);
  central->setDelegate(delegate);
  central->setAdvertisementMonitor(
      [this](const platform::AdvertisementData& advertisement) { heard.push_back(advertisement); });
}

bool BluezCentralWorld::reachState(std::int64_t state) {
  return until([&] {
    return !delegate->states.empty() && delegate->states.back() == state &&
           central->state() == state;
  });
}

}  // namespace lumora::test
