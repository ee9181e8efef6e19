#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "support/DbusMockHarness.hpp"
#include "support/MockBluez.hpp"

namespace lumora::test {

/// A private bus with bluetoothd mocked (one adapter, hci0); the default GLib
/// main context runs only when the test iterates it (until(), idle()). Skips
/// when dbus-daemon or dbusmock is missing.
class MockBluezWorld : public ::testing::Test {
 protected:
  void SetUp() override {
    if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
    bus = std::make_unique<DbusMockHarness>();
    bluez = std::make_unique<MockBluez>(*bus);
    bluez->addAdapter();
  }

  std::unique_ptr<DbusMockHarness> bus;
  std::unique_ptr<MockBluez> bluez;
};

}  // namespace lumora::test
