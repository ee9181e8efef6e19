#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/DbusMockHarness.hpp"

namespace lumora::test {

/// Drives python-dbusmock's bluez5 template on a DbusMockHarness: one adapter
/// (hci0) and the devices whose advertisements a test puts on the air.
///
///   MockBluez bluez(bus);            // starts the template
///   bluez.addAdapter();
///   auto device = bluez.addDevice("AA:BB:CC:DD:EE:01");
///   bluez.advertise(device, 0x004c, MockBluez::iBeaconFrame(uuid, 1, 2));
class MockBluez {
 public:
  using Bytes = std::vector<std::uint8_t>;
  static constexpr const char* kAdapter = "/org/bluez/hci0";

  explicit MockBluez(DbusMockHarness& bus);

  void addAdapter();
  void setPowered(bool powered);
  bool discovering();
  /// Returns the device's object path.
  std::string addDevice(const std::string& address);
  void setServiceUuids(const std::string& device, const std::vector<std::string>& uuids);
  /// Sets ManufacturerData to one entry; BlueZ keys it by company identifier.
  void advertise(const std::string& device, std::uint16_t companyId, const Bytes& value);
  /// How many times the adapter saw this method called.
  std::size_t adapterCalls(const std::string& method);

  struct DiscoveryFilter {
    std::vector<std::string> uuids;
    std::string transport;
    bool duplicateData = false;
  };
  /// The arguments of the latest SetDiscoveryFilter call; throws when there was none.
  DiscoveryFilter lastDiscoveryFilter();

  /// An iBeacon frame after the company identifier: 02 15, the proximity UUID
  /// (canonical text), major and minor (big-endian) and the measured power.
  static Bytes iBeaconFrame(const std::string& proximityUuid, std::uint16_t major,
                            std::uint16_t minor);

 private:
  void setDeviceProperty(const std::string& device, const char* name, GVariant* value);

  DbusMockHarness& bus_;
};

}  // namespace lumora::test
