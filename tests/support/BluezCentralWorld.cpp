#include "support/BluezCentralWorld.hpp"

namespace lumora::test {

void BluezCentralWorld::SetUp() {
  if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
  bus = std::make_unique<DbusMockHarness>();
  bluez = std::make_unique<MockBluez>(*bus);
  bluez->addAdapter();
}

void BluezCentralWorld::makeCentral(platform::BluezCentral::Options options,
                                    std::shared_ptr<platform::BleCentralDelegate> delegate) {
  options.busAddress = bus->address();
  central = platform::BluezCentral::create(queue, options);
  central->setDelegate(delegate);
  central->setAdvertisementMonitor(
      [this](const platform::AdvertisementData& advertisement) { heard.push_back(advertisement); });
  ASSERT_TRUE(until([&] { return central->state() == 5; }));
}

bool BluezCentralWorld::until(const std::function<bool()>& condition) {
  return DbusMockHarness::iterateUntil(condition);
}

void BluezCentralWorld::settle() {
  bool done = false;
  auto timer = queue->scheduleTimer(0.3, false, [&](platform::Timer&) { done = true; });
  ASSERT_TRUE(until([&] { return done; }));
}

}  // namespace lumora::test
