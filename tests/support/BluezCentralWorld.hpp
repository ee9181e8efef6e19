#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/linux/BluezCentral.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"
#include "support/MockBluez.hpp"

namespace lumora::test {

/// A BlueZ central on a private bus with one mock adapter, its main loop driven
/// by the test. Skips when dbus-daemon or dbusmock is missing.
class BluezCentralWorld : public ::testing::Test {
 protected:
  void SetUp() override;

  /// Builds the central on the mock bus, installs the delegate and the
  /// advertisement monitor (recording into `heard`), and waits for power.
  void makeCentral(platform::BluezCentral::Options options,
                   std::shared_ptr<platform::BleCentralDelegate> delegate);
  static bool until(const std::function<bool()>& condition);
  /// Lets several discovery-restart periods pass on the main loop.
  void settle();

  std::unique_ptr<DbusMockHarness> bus;
  std::unique_ptr<MockBluez> bluez;
  std::shared_ptr<platform::GLibMainQueue> queue = std::make_shared<platform::GLibMainQueue>();
  std::shared_ptr<platform::BluezCentral> central;
  std::vector<platform::AdvertisementData> heard;
};

}  // namespace lumora::test
