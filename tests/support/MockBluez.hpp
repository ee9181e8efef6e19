#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/DbusMockHarness.hpp"

namespace lumora::test {

/// Drives python-dbusmock's bluez5 template on a DbusMockHarness: one adapter
/// (hci0) and the devices whose advertisements a test puts on the air. Like
/// bluetoothd, the adapter invalidates every device's RSSI when a discovery
/// ends, and an advertisement brings it back.
class MockBluez {
 public:
  using Bytes = std::vector<std::uint8_t>;
  /// Advertised manufacturer data, keyed by company identifier.
  using ManufacturerData = std::vector<std::pair<std::uint16_t, Bytes>>;
  static constexpr const char* kAdapter = "/org/bluez/hci0";

  explicit MockBluez(DbusMockHarness& bus);

  void addAdapter();
  /// Makes the adapter's org.bluez.Adapter1 `method` fail with this D-Bus error.
  void refuse(const char* method, const std::string& errorName);
  void setPowered(bool powered);
  bool discovering();
  /// Returns the device's object path.
  std::string addDevice(const std::string& address);
  void setServiceUuids(const std::string& device, const std::vector<std::string>& uuids);
  /// An advertisement heard: ManufacturerData and RSSI change in one
  /// PropertiesChanged signal.
  void advertise(const std::string& device, const ManufacturerData& entries,
                 std::int16_t rssi = -60);
  /// How many times the adapter saw this method called.
  std::size_t adapterCalls(const std::string& method);

  struct DiscoveryFilter {
    std::vector<std::string> uuids;
    std::string transport;
    bool duplicateData = false;
  };
  /// The arguments of the latest SetDiscoveryFilter call; throws when there was none.
  DiscoveryFilter lastDiscoveryFilter();

  /// Gives the adapter org.bluez.AdvertisementMonitorManager1 (announced with
  /// InterfacesAdded), supporting "or_patterns". RegisterMonitor and
  /// UnregisterMonitor only record their calls; with `registerError` set,
  /// RegisterMonitor fails with that D-Bus error name.
  void addMonitorManager(const std::string& registerError = "");
  /// The application roots passed to RegisterMonitor / UnregisterMonitor, oldest first.
  std::vector<std::string> registeredRoots() { return rootsPassedTo("RegisterMonitor"); }
  std::vector<std::string> unregisteredRoots() { return rootsPassedTo("UnregisterMonitor"); }

  /// A registered monitor: its object path, Type and Patterns (GVariant text).
  struct Monitor {
    std::string path;
    std::string type;
    std::string patterns;
  };
  /// Reads the monitors of the application registered at `root` as bluetoothd
  /// does: GetManagedObjects on the root, at the connection that exports it,
  /// iterating the default main context meanwhile. Throws when no connection
  /// on the bus exports the root.
  std::vector<Monitor> monitorsAt(const std::string& root);
  /// Calls `method` (DeviceFound or DeviceLost) with device on a monitor read by monitorsAt().
  void callMonitor(const std::string& monitorPath, const char* method, const std::string& device);

  /// An iBeacon frame after the company identifier: 02 15, the proximity UUID
  /// (canonical text), major and minor (big-endian) and the measured power.
  static Bytes iBeaconFrame(const std::string& proximityUuid, std::uint16_t major,
                            std::uint16_t minor);

 private:
  void addAdapterMethod(const char* iface, const char* method, const char* inSignature,
                        const std::string& code);
  std::vector<std::string> rootsPassedTo(const std::string& method);

  DbusMockHarness& bus_;
  std::string applicationOwner_;  // the unique name that exports the last root read
};

}  // namespace lumora::test
