// Feeds BlueZ's object-tree messages, as a D-Bus peer could send them, to the
// readers of the BlueZ central. The first byte picks the message (InterfacesAdded,
// PropertiesChanged, GetManagedObjects' reply, GetAll's reply); the rest is a
// serialized GVariant of its body type, rebuilt as an sd-bus message, so that
// every value inside the variants can be of any type.

#include <gio/gio.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "FuzzCheck.hpp"
#include "platform/linux/BluezProperties.hpp"

namespace {

using lumora::fuzz::check;

using lumora::platform::BluezDeviceProperties;
using lumora::platform::BluezObject;

/// A connection that is never used for traffic: sd-bus only builds messages
/// for a bus that has been started.
sd_bus* messageFactory() {
  static sd_bus* bus = [] {
    int fds[2];
    sd_bus* created = nullptr;
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0);
    check(sd_bus_new(&created) >= 0);
    check(sd_bus_set_fd(created, fds[0], fds[0]) >= 0);
    check(sd_bus_start(created) >= 0);
    return created;
  }();
  return bus;
}

bool append(sd_bus_message* m, GVariant* value);

bool appendChildren(sd_bus_message* m, GVariant* value) {
  const gsize count = g_variant_n_children(value);
  for (gsize i = 0; i < count; ++i) {
    GVariant* child = g_variant_get_child_value(value, i);
    const bool ok = append(m, child);
    g_variant_unref(child);
    if (!ok) return false;
  }
  return true;
}

bool appendContainer(sd_bus_message* m, char type, const std::string& contents, GVariant* value) {
  return sd_bus_message_open_container(m, type, contents.c_str()) >= 0 &&
         appendChildren(m, value) && sd_bus_message_close_container(m) >= 0;
}

bool append(sd_bus_message* m, GVariant* value) {
  const std::string type = g_variant_get_type_string(value);
  const std::string inner = type.size() > 2 ? type.substr(1, type.size() - 2) : "";
  switch (type[0]) {
    case 'b': {
      int b = g_variant_get_boolean(value);
      return sd_bus_message_append_basic(m, 'b', &b) >= 0;
    }
    case 'y':
    case 'n':
    case 'q':
    case 'i':
    case 'u':
    case 'x':
    case 't':
    case 'd': {
      std::uint64_t storage = 0;
      std::memcpy(&storage, g_variant_get_data(value), g_variant_get_size(value));
      return sd_bus_message_append_basic(m, type[0], &storage) >= 0;
    }
    case 's':
    case 'o':
    case 'g':
      return sd_bus_message_append_basic(m, type[0], g_variant_get_string(value, nullptr)) >= 0;
    case 'v': {
      GVariant* child = g_variant_get_variant(value);
      const bool ok =
          sd_bus_message_open_container(m, 'v', g_variant_get_type_string(child)) >= 0 &&
          append(m, child) && sd_bus_message_close_container(m) >= 0;
      g_variant_unref(child);
      return ok;
    }
    case 'a':
      return appendContainer(m, 'a', type.substr(1), value);
    case '(':
      return appendContainer(m, 'r', inner, value);
    case '{':
      return appendContainer(m, 'e', inner, value);
    default:
      return false;  // maybe types and handles have no place in these messages
  }
}

void checkDevice(const BluezDeviceProperties& device) {
  if (device.manufacturerData) {
    check(device.manufacturerData->size() <= BluezDeviceProperties::kMaxEntries);
    for (const auto& entry : *device.manufacturerData) check(entry.size() >= 2);
  }
  if (device.uuids) check(device.uuids->size() <= BluezDeviceProperties::kMaxEntries);
  if (device.serviceDataUuids) {
    check(device.serviceDataUuids->size() <= BluezDeviceProperties::kMaxEntries);
  }
}

void checkObject(const BluezObject& object) {
  if (object.device) checkDevice(*object.device);
  check(object.invalidated.size() <= BluezDeviceProperties::kMaxEntries);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  static const char* const kBodies[] = {"(oa{sa{sv}})", "(sa{sv}as)", "(a{oa{sa{sv}}})", "(a{sv})"};
  const int shape = data[0] % 4;
  GBytes* bytes = g_bytes_new(data + 1, size - 1);
  GVariant* raw = g_variant_new_from_bytes(G_VARIANT_TYPE(kBodies[shape]), bytes, FALSE);
  g_bytes_unref(bytes);
  GVariant* body = g_variant_get_normal_form(raw);  // a full, non-floating reference
  g_variant_unref(g_variant_ref_sink(raw));

  sd_bus_message* m = nullptr;
  check(sd_bus_message_new_signal(messageFactory(), &m, "/org/bluez/hci0/dev_00",
                                  "org.freedesktop.DBus.Properties", "PropertiesChanged") >= 0);
  if (appendChildren(m, body) && sd_bus_message_seal(m, 1, 0) >= 0) {
    switch (shape) {
      case 0:
        if (auto object = lumora::platform::readInterfacesAdded(m)) checkObject(*object);
        break;
      case 1:
        if (auto object = lumora::platform::readPropertiesChanged(m)) checkObject(*object);
        break;
      case 2:
        if (auto objects = lumora::platform::readManagedObjects(m)) {
          for (const auto& object : *objects) checkObject(object);
        }
        break;
      default:
        if (auto device = lumora::platform::readDeviceProperties(m)) checkDevice(*device);
    }
  }
  sd_bus_message_unref(m);
  g_variant_unref(body);
  return 0;
}
