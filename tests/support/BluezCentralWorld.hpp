#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/BluezCentral.hpp"
#include "platform/linux/GLibMainQueue.hpp"
#include "support/DbusMockHarness.hpp"
#include "support/MockBluez.hpp"

namespace lumora::test {

/// A private bus with bluetoothd mocked (one adapter, hci0) and, on request, a
/// BlueZ central on it; the default GLib main context runs only when the test
/// iterates it (until(), idle()). Skips when dbus-daemon or dbusmock is missing.
class BluezCentralWorld : public ::testing::Test {
 protected:
  /// Records what the central tells its delegate.
  struct RecordingDelegate : platform::BleCentralDelegate {
    void centralDidUpdateState(std::int64_t state) override { states.push_back(state); }
    void centralDidDiscover(const platform::AdvertisementData& advertisement) override {
      advertisements.push_back(advertisement);
    }
    std::vector<platform::AdvertisementData> from(const std::string& address) const;

    std::vector<std::int64_t> states;
    std::vector<platform::AdvertisementData> advertisements;
  };

  void SetUp() override;

  /// Builds the central on the mock bus with the recording delegate and the
  /// advertisement monitor (recording into `heard`).
  void makeCentral(platform::BluezCentral::Options options = {});
  /// Waits until the central and its delegate both report this state.
  bool reachState(std::int64_t state);

  std::unique_ptr<DbusMockHarness> bus;
  std::unique_ptr<MockBluez> bluez;
  std::shared_ptr<platform::GLibMainQueue> queue = std::make_shared<platform::GLibMainQueue>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<platform::BluezCentral> central;
  std::vector<platform::AdvertisementData> heard;
};

}  // namespace lumora::test
