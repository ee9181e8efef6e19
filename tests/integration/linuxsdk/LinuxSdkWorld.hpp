#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/SdkFacade.hpp"
#include "platform/linux/LinuxPlatform.hpp"
#include "support/MockBluezWorld.hpp"
#include "support/RecordingCallback.hpp"
#include "support/SdkPlist.hpp"
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

  void SetUp() override {
    MockBluezWorld::SetUp();
    if (IsSkipped()) return;
    bus->startTemplate("notification_daemon", test::DbusMockHarness::kNotifications);

    char pattern[] = "/tmp/lumora-linuxsdk-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    directory = pattern;
    std::filesystem::create_directories(directory / "bundle");
    std::ofstream(directory / "bundle" / "sdk.plist")
        << SdkPlist::pointingAt(server.url("/events"), server.url("/nt"), server.hostAndPort(),
                                "bucket")
               .xml();
    server.respond("/events/device_events", TestHttpsServer::Response(200, "{}"));
    server.respond("/nt/device_events", TestHttpsServer::Response(200, "{}"));
  }
  void TearDown() override {
    facade.reset();
    platform::Platform::install(nullptr);
    platform.reset();
    test::idle(0.05);  // lets work posted by the released objects drain while the bus still exists
    std::error_code ignored;
    if (!directory.empty()) std::filesystem::remove_all(directory, ignored);
  }

  /// Builds the platform (location always authorized) and the facade,
  /// initiates (stage) and starts.
  void startSdk() {
    platform::LinuxPlatformOptions options;
    options.bluetoothBusAddress = bus->address();
    options.notificationBusAddress = bus->address();
    options.userDefaultsFile = directory / "defaults.plist";
    options.bundleDirectory = directory / "bundle";
    options.http.extraCaFile = server.caFile();
    options.locationAuthorization = 3;
    platform = makePlatform(options);
    platform::Platform::install(platform);
    callback = std::make_shared<RecordingCallback>();
    facade = SdkFacade::create(platform);
    facade->initiate(ClientProfile("+15550100", "a@example.com", "StoreApp", std::nullopt),
                     callback, Environment::stage);
    facade->start();
  }
  /// The platform startSdk() installs; a fixture may return one that observes more.
  virtual std::shared_ptr<platform::LinuxPlatform> makePlatform(
      const platform::LinuxPlatformOptions& options) {
    return std::make_shared<platform::LinuxPlatform>(options);
  }
  /// An iBeacon of the configured region on the air.
  std::string advertiseIBeacon(const std::string& address) {
    const auto device = bluez->addDevice(address);
    bluez->advertise(device, {{0x004c, test::MockBluez::iBeaconFrame(kIBeaconUuid, 7, 9)}});
    return device;
  }
  /// A custom beacon (company 0x1234, the configured service) for the binding.
  std::string advertiseCustomBeacon(const std::string& address, std::uint32_t bindingId) {
    const auto device = bluez->addDevice(address);
    bluez->setServiceUuids(device, {kServiceUuid});
    // 03, the binding identifier (3 bytes), the space identifier (8 bytes), 11 more bytes.
    test::MockBluez::Bytes value{0x03, static_cast<std::uint8_t>(bindingId >> 16),
                                 static_cast<std::uint8_t>(bindingId >> 8),
                                 static_cast<std::uint8_t>(bindingId)};
    value.insert(value.end(), {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f, 0x60, 0x71});  // kSpaceId
    value.resize(value.size() + 11, 0x00);
    bluez->advertise(device, {{0x1234, value}});
    return device;
  }
  std::size_t callsNamed(const std::string& name) const {
    const auto names = callback->names();
    return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
  }
  std::vector<nlohmann::json> eventsOfType(const std::string& type) const {
    std::vector<nlohmann::json> events;
    for (const auto& request : server.requests()) {
      if (!request.path.ends_with("/device_events")) continue;
      auto event = nlohmann::json::parse(request.body);
      if (event.value("eventType", "") == type) events.push_back(std::move(event));
    }
    return events;
  }

  TestHttpsServer server;
  std::filesystem::path directory;
  std::shared_ptr<platform::LinuxPlatform> platform;
  std::shared_ptr<RecordingCallback> callback;
  std::shared_ptr<SdkFacade> facade;
};

}  // namespace lumora::testing
