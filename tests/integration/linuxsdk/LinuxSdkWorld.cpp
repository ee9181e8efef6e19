#include "LinuxSdkWorld.hpp"

#include <stdlib.h>

#include <algorithm>
#include <fstream>

#include "support/SdkPlist.hpp"

namespace lumora::testing {

void LinuxSdkWorld::SetUp() {
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

void LinuxSdkWorld::TearDown() {
  facade.reset();
  platform::Platform::install(nullptr);
  platform.reset();
  test::idle(0.05);  // lets work posted by the released objects drain while the bus still exists
  std::error_code ignored;
  if (!directory.empty()) std::filesystem::remove_all(directory, ignored);
}

void LinuxSdkWorld::startSdk(std::int64_t locationAuthorization) {
  platform::LinuxPlatformOptions options;
  options.bluetoothBusAddress = bus->address();
  options.notificationBusAddress = bus->address();
  options.userDefaultsFile = directory / "defaults.plist";
  options.bundleDirectory = directory / "bundle";
  options.http.extraCaFile = server.caFile();
  options.locationAuthorization = locationAuthorization;
  platform = makePlatform(options);
  platform::Platform::install(platform);
  callback = std::make_shared<RecordingCallback>();
  facade = SdkFacade::create(platform);
  facade->initiate(ClientProfile("+15550100", "a@example.com", "StoreApp", std::nullopt), callback,
                   Environment::stage);
  facade->start();
}

std::shared_ptr<platform::LinuxPlatform> LinuxSdkWorld::makePlatform(
    const platform::LinuxPlatformOptions& options) {
  return std::make_shared<platform::LinuxPlatform>(options);
}

std::string LinuxSdkWorld::advertiseIBeacon(const std::string& address) {
  const auto device = bluez->addDevice(address);
  bluez->advertise(device, {{0x004c, test::MockBluez::iBeaconFrame(kIBeaconUuid, 7, 9)}});
  return device;
}

std::string LinuxSdkWorld::advertiseCustomBeacon(const std::string& address,
                                                 std::uint32_t bindingId) {
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

std::size_t LinuxSdkWorld::callsNamed(const std::string& name) const {
  if (!callback) return 0;
  const auto names = callback->names();
  return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
}

std::vector<nlohmann::json> LinuxSdkWorld::eventsOfType(const std::string& type) const {
  std::vector<nlohmann::json> events;
  for (const auto& request : server.requests()) {
    if (!request.path.ends_with("/device_events")) continue;
    auto event = nlohmann::json::parse(request.body);
    if (event.value("eventType", "") == type) events.push_back(std::move(event));
  }
  return events;
}

}  // namespace lumora::testing
