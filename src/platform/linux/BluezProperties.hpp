#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/util/Uuid.hpp"

namespace lumora::platform {

/// What one set of org.bluez.Device1 properties said; a field is absent when
/// the set did not carry it (or carried it with a D-Bus type BlueZ never sends).
struct BluezDeviceProperties {
  using Bytes = std::vector<std::uint8_t>;
  /// At most this many manufacturer entries and UUIDs are kept from one set.
  static constexpr std::size_t kMaxEntries = 32;

  std::optional<std::string> address;
  /// Every ManufacturerData entry, in BlueZ's order: the company identifier
  /// little-endian, then the value, as the advertisement carried it.
  std::optional<std::vector<Bytes>> manufacturerData;
  /// UUIDs, and the keys of ServiceData; texts that are no UUID are left out.
  std::optional<std::vector<Uuid>> uuids;
  std::optional<std::vector<Uuid>> serviceDataUuids;
  std::optional<std::int16_t> rssi;

  bool operator==(const BluezDeviceProperties&) const = default;
};

/// The interfaces of one BlueZ object that the central reads.
struct BluezObject {
  struct Adapter {
    std::optional<bool> powered;
    bool operator==(const Adapter&) const = default;
  };
  std::string path;
  std::optional<Adapter> adapter;  // org.bluez.Adapter1
  /// org.bluez.AdvertisementMonitorManager1: true when it offers "or_patterns"
  /// (a manager that does not list its types is taken at its word).
  std::optional<bool> monitorManager;
  std::optional<BluezDeviceProperties> device;  // org.bluez.Device1
  /// Properties a PropertiesChanged signal invalidated.
  std::vector<std::string> invalidated;

  bool operator==(const BluezObject&) const = default;
};

/// Readers of BlueZ's messages, pure functions of the message body (read from
/// its start). Values of unexpected types read as absent; a body of the wrong
/// signature reads as nothing.

/// InterfacesAdded (oa{sa{sv}}).
std::optional<BluezObject> readInterfacesAdded(sd_bus_message* message);
/// InterfacesRemoved (oas): the object, with the removed interfaces present.
std::optional<BluezObject> readInterfacesRemoved(sd_bus_message* message);
/// PropertiesChanged (sa{sv}as) of the object at the message's path.
std::optional<BluezObject> readPropertiesChanged(sd_bus_message* message);
/// The reply of GetManagedObjects (a{oa{sa{sv}}}).
std::optional<std::vector<BluezObject>> readManagedObjects(sd_bus_message* message);
/// The reply of Properties.GetAll("org.bluez.Device1") (a{sv}).
std::optional<BluezDeviceProperties> readDeviceProperties(sd_bus_message* message);

}  // namespace lumora::platform
