#include "platform/linux/BluezProperties.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace lumora::platform {
namespace {

constexpr std::string_view kAdapterIface = "org.bluez.Adapter1";
constexpr std::string_view kDeviceIface = "org.bluez.Device1";
constexpr std::string_view kMonitorManagerIface = "org.bluez.AdvertisementMonitorManager1";

using Bytes = BluezDeviceProperties::Bytes;

bool succeeded(int result) { return result >= 0; }

/// Enters the variant at the read position when it holds `contents`, else
/// skips it. Answers whether it entered.
bool enterVariant(sd_bus_message* message, const char* contents, bool* ok) {
  char type = 0;
  const char* actual = nullptr;
  if (sd_bus_message_peek_type(message, &type, &actual) > 0 && type == 'v' &&
      std::strcmp(actual, contents) == 0) {
    *ok = sd_bus_message_enter_container(message, 'v', contents) > 0;
    return *ok;
  }
  *ok = succeeded(sd_bus_message_skip(message, "v"));
  return false;
}

/// Reads an a{sv} dictionary at the read position, handing each key to
/// `readValue(key)`, which reads or skips the variant and answers success.
template <typename ReadValue>
bool readDictionary(sd_bus_message* message, ReadValue readValue) {
  if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) return false;
  int entered = 0;
  while ((entered = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    const char* key = nullptr;
    if (!succeeded(sd_bus_message_read_basic(message, 's', &key)) || !readValue(key) ||
        !succeeded(sd_bus_message_exit_container(message))) {
      return false;
    }
  }
  return entered == 0 && succeeded(sd_bus_message_exit_container(message));
}

/// Reads a variant holding `contents` with `read` (which reads exactly the
/// contents); another type is skipped and leaves the target untouched.
template <typename Read>
bool readVariant(sd_bus_message* message, const char* contents, Read read) {
  bool ok = true;
  if (!enterVariant(message, contents, &ok)) return ok;
  return read() && succeeded(sd_bus_message_exit_container(message));
}

template <typename T>
bool readBasicVariant(sd_bus_message* message, char type, const char* contents, T* target) {
  return readVariant(message, contents,
                     [&] { return succeeded(sd_bus_message_read_basic(message, type, target)); });
}

/// Reads an array of strings (as) at the read position.
template <typename Add>
bool readStrings(sd_bus_message* message, Add add) {
  if (sd_bus_message_enter_container(message, 'a', "s") <= 0) return false;
  const char* text = nullptr;
  int read = 0;
  while ((read = sd_bus_message_read_basic(message, 's', &text)) > 0) add(text);
  return read == 0 && succeeded(sd_bus_message_exit_container(message));
}

void addUuid(std::vector<Uuid>& uuids, const char* text) {
  if (uuids.size() >= BluezDeviceProperties::kMaxEntries) return;
  if (auto uuid = Uuid::parse(text)) uuids.push_back(*uuid);
}

bool readManufacturerEntry(sd_bus_message* message, std::vector<Bytes>& entries) {
  std::uint16_t company = 0;
  if (!succeeded(sd_bus_message_read_basic(message, 'q', &company))) return false;
  return readVariant(message, "ay", [&] {
    const void* data = nullptr;
    size_t size = 0;
    if (!succeeded(sd_bus_message_read_array(message, 'y', &data, &size))) return false;
    if (entries.size() >= BluezDeviceProperties::kMaxEntries) return true;
    Bytes bytes;
    bytes.reserve(size + 2);
    bytes.push_back(static_cast<std::uint8_t>(company & 0xff));
    bytes.push_back(static_cast<std::uint8_t>(company >> 8));
    const auto* begin = static_cast<const std::uint8_t*>(data);
    bytes.insert(bytes.end(), begin, begin + size);
    entries.push_back(std::move(bytes));
    return true;
  });
}

bool readManufacturerData(sd_bus_message* message, BluezDeviceProperties& device) {
  return readVariant(message, "a{qv}", [&] {
    std::vector<Bytes> entries;
    if (sd_bus_message_enter_container(message, 'a', "{qv}") <= 0) return false;
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, 'e', "qv")) > 0) {
      if (!readManufacturerEntry(message, entries) ||
          !succeeded(sd_bus_message_exit_container(message))) {
        return false;
      }
    }
    if (entered < 0 || !succeeded(sd_bus_message_exit_container(message))) return false;
    device.manufacturerData = std::move(entries);
    return true;
  });
}

bool readUuids(sd_bus_message* message, std::optional<std::vector<Uuid>>& target) {
  return readVariant(message, "as", [&] {
    std::vector<Uuid> uuids;
    if (!readStrings(message, [&](const char* text) { addUuid(uuids, text); })) return false;
    target = std::move(uuids);
    return true;
  });
}

bool readServiceDataKeys(sd_bus_message* message, std::optional<std::vector<Uuid>>& target) {
  return readVariant(message, "a{sv}", [&] {
    std::vector<Uuid> uuids;
    const bool ok = readDictionary(message, [&](const char* key) {
      addUuid(uuids, key);
      return succeeded(sd_bus_message_skip(message, "v"));
    });
    if (ok) target = std::move(uuids);
    return ok;
  });
}

bool readDeviceValue(sd_bus_message* message, std::string_view key, BluezDeviceProperties& device) {
  if (key == "ManufacturerData") return readManufacturerData(message, device);
  if (key == "RSSI") {
    std::int16_t rssi = 0;
    bool read = false;
    const bool ok = readVariant(message, "n", [&] {
      read = succeeded(sd_bus_message_read_basic(message, 'n', &rssi));
      return read;
    });
    if (read) device.rssi = rssi;
    return ok;
  }
  if (key == "UUIDs") return readUuids(message, device.uuids);
  if (key == "ServiceData") return readServiceDataKeys(message, device.serviceDataUuids);
  if (key == "Address") {
    const char* address = nullptr;
    if (!readBasicVariant(message, 's', "s", &address)) return false;
    if (address) device.address = address;
    return true;
  }
  return succeeded(sd_bus_message_skip(message, "v"));
}

bool readAdapterValue(sd_bus_message* message, std::string_view key,
                      BluezObject::Adapter& adapter) {
  if (key != "Powered") return succeeded(sd_bus_message_skip(message, "v"));
  int powered = -1;
  if (!readBasicVariant(message, 'b', "b", &powered)) return false;
  if (powered >= 0) adapter.powered = powered != 0;
  return true;
}

bool readManagerValue(sd_bus_message* message, std::string_view key, bool& orPatterns) {
  if (key != "SupportedMonitorTypes") return succeeded(sd_bus_message_skip(message, "v"));
  return readVariant(message, "as", [&] {
    orPatterns = false;
    return readStrings(message, [&](const char* type) {
      if (std::string_view(type) == "or_patterns") orPatterns = true;
    });
  });
}

/// Reads the a{sv} of `iface` into `object`; interfaces the central does not
/// read are skipped.
bool readInterface(sd_bus_message* message, std::string_view iface, BluezObject& object) {
  if (iface == kDeviceIface) {
    auto& device = object.device.emplace();
    return readDictionary(message,
                          [&](const char* key) { return readDeviceValue(message, key, device); });
  }
  if (iface == kAdapterIface) {
    auto& adapter = object.adapter.emplace();
    return readDictionary(message,
                          [&](const char* key) { return readAdapterValue(message, key, adapter); });
  }
  if (iface == kMonitorManagerIface) {
    bool orPatterns = true;
    const bool ok = readDictionary(
        message, [&](const char* key) { return readManagerValue(message, key, orPatterns); });
    object.monitorManager = orPatterns;
    return ok;
  }
  return succeeded(sd_bus_message_skip(message, "a{sv}"));
}

/// Reads a{sa{sv}} at the read position.
bool readInterfaces(sd_bus_message* message, BluezObject& object) {
  if (sd_bus_message_enter_container(message, 'a', "{sa{sv}}") <= 0) return false;
  int entered = 0;
  while ((entered = sd_bus_message_enter_container(message, 'e', "sa{sv}")) > 0) {
    const char* iface = nullptr;
    if (!succeeded(sd_bus_message_read_basic(message, 's', &iface)) ||
        !readInterface(message, iface, object) ||
        !succeeded(sd_bus_message_exit_container(message))) {
      return false;
    }
  }
  return entered == 0 && succeeded(sd_bus_message_exit_container(message));
}

bool hasSignature(sd_bus_message* message, const char* signature) {
  return sd_bus_message_rewind(message, 1) >= 0 &&
         sd_bus_message_has_signature(message, signature) > 0;
}

}  // namespace

std::optional<BluezObject> readInterfacesAdded(sd_bus_message* message) {
  if (!hasSignature(message, "oa{sa{sv}}")) return std::nullopt;
  const char* path = nullptr;
  BluezObject object;
  if (!succeeded(sd_bus_message_read_basic(message, 'o', &path))) return std::nullopt;
  object.path = path;
  if (!readInterfaces(message, object)) return std::nullopt;
  return object;
}

std::optional<BluezObject> readInterfacesRemoved(sd_bus_message* message) {
  if (!hasSignature(message, "oas")) return std::nullopt;
  const char* path = nullptr;
  BluezObject object;
  if (!succeeded(sd_bus_message_read_basic(message, 'o', &path))) return std::nullopt;
  object.path = path;
  const bool ok = readStrings(message, [&](const char* iface) {
    if (iface == kDeviceIface) object.device.emplace();
    if (iface == kAdapterIface) object.adapter.emplace();
    if (iface == kMonitorManagerIface) object.monitorManager = false;
  });
  if (!ok) return std::nullopt;
  return object;
}

std::optional<BluezObject> readPropertiesChanged(sd_bus_message* message) {
  if (!hasSignature(message, "sa{sv}as")) return std::nullopt;
  const char* iface = nullptr;
  BluezObject object;
  const char* path = sd_bus_message_get_path(message);
  object.path = path ? path : "";
  if (!succeeded(sd_bus_message_read_basic(message, 's', &iface)) ||
      !readInterface(message, iface, object) || !readStrings(message, [&](const char* name) {
        if (object.invalidated.size() < BluezDeviceProperties::kMaxEntries) {
          object.invalidated.emplace_back(name);
        }
      })) {
    return std::nullopt;
  }
  return object;
}

std::optional<std::vector<BluezObject>> readManagedObjects(sd_bus_message* message) {
  if (!hasSignature(message, "a{oa{sa{sv}}}")) return std::nullopt;
  std::vector<BluezObject> objects;
  if (sd_bus_message_enter_container(message, 'a', "{oa{sa{sv}}}") <= 0) return std::nullopt;
  int entered = 0;
  while ((entered = sd_bus_message_enter_container(message, 'e', "oa{sa{sv}}")) > 0) {
    const char* path = nullptr;
    BluezObject& object = objects.emplace_back();
    if (!succeeded(sd_bus_message_read_basic(message, 'o', &path))) return std::nullopt;
    object.path = path;
    if (!readInterfaces(message, object) || !succeeded(sd_bus_message_exit_container(message))) {
      return std::nullopt;
    }
  }
  if (entered < 0) return std::nullopt;
  return objects;
}

std::optional<BluezDeviceProperties> readDeviceProperties(sd_bus_message* message) {
  if (!hasSignature(message, "a{sv}")) return std::nullopt;
  BluezDeviceProperties device;
  const bool ok = readDictionary(
      message, [&](const char* key) { return readDeviceValue(message, key, device); });
  if (!ok) return std::nullopt;
  return device;
}

}  // namespace lumora::platform
