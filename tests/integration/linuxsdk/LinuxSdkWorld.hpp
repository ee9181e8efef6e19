#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/SdkFacade.hpp"
#include "platform/linux/LinuxPlatform.hpp"
#include "support/MockBluezWorld.hpp"
#include "support/RecordingCallback.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::testing {

/// The real facade on the real Linux platform: BlueZ (the world's) and a
/// notification server mocked on a private bus, a temporary bundle directory whose sdk.plist points
/// at a TestHttpsServer (creatives under /bucket, events under /events and
/// /nt), and a temporary user-defaults file. Everything runs on the default
/// GLib main context, which the test iterates.
class LinuxSdkWorld : public test::MockBluezWorld {
 protected:
  // The beacon settings of SdkPlist::complete().
  static constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
  static constexpr const char* kServiceUuid = "0000FEAA-0000-1000-8000-00805F9B34FB";
  static constexpr const char* kSpaceId = "0a1b2c3d4e5f6071";

  void SetUp() override;
  void TearDown() override;

  /// Builds the platform with this location policy and the facade,
  /// initiates (stage) and starts.
  void startSdk(std::int64_t locationAuthorization = 3);
  /// The platform startSdk() installs; a fixture may return one that observes more.
  virtual std::shared_ptr<platform::LinuxPlatform> makePlatform(
      const platform::LinuxPlatformOptions& options);
  /// An iBeacon of the configured region on the air.
  std::string advertiseIBeacon(const std::string& address);
  /// A custom beacon (company 0x1234, the configured service) for the binding.
  std::string advertiseCustomBeacon(const std::string& address, std::uint32_t bindingId);
  std::size_t callsNamed(const std::string& name) const;
  std::vector<nlohmann::json> eventsOfType(const std::string& type) const;

  TestHttpsServer server;
  std::filesystem::path directory;
  std::shared_ptr<platform::LinuxPlatform> platform;
  std::shared_ptr<RecordingCallback> callback;
  std::shared_ptr<SdkFacade> facade;
};

}  // namespace lumora::testing
