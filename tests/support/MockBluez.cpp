#include "support/MockBluez.hpp"

#include <stdexcept>

namespace lumora::test {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kMock = "org.freedesktop.DBus.Mock";
constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kManagerIface = "org.bluez.AdvertisementMonitorManager1";
constexpr const char* kMonitorIface = "org.bluez.AdvertisementMonitor1";
constexpr std::uint8_t kMeasuredPower = 0xc5;  // -59 dBm at one metre

// As bluetoothd does when a discovery session ends: every device's RSSI is
// invalidated, so a cached device reads as not heard until it advertises again.
constexpr const char* kStopDiscovery = R"(
self.props['org.bluez.Adapter1']['Discovering'] = False
self.EmitSignal('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as',
                ['org.bluez.Adapter1', {'Discovering': dbus.Boolean(False, variant_level=1)}, []])
for path, device in list(objects.items()):
    properties = device.props.get('org.bluez.Device1', {})
    if path.startswith(self.path + '/') and 'RSSI' in properties:
        del properties['RSSI']
        device.EmitSignal('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as',
                          ['org.bluez.Device1', {}, ['RSSI']])
)";

// An advertisement heard by the adapter: the device's properties change in
// one PropertiesChanged signal, as bluetoothd sends them.
constexpr const char* kTestIface = "org.lumora.Test";
constexpr const char* kAdvertise = R"(
device = objects[args[0]]
device.props['org.bluez.Device1'].update(args[1])
device.EmitSignal('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as',
                  ['org.bluez.Device1', args[1], []])
)";

// Method code that fails with the D-Bus error `errorName`.
std::string raising(const std::string& errorName) {
  return "raise dbus.exceptions.DBusException('refused', name='" + errorName + "')";
}

GVariant* monitorManagerProperties() {
  const char* types[] = {"or_patterns"};
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&builder, "{sv}", "SupportedMonitorTypes", g_variant_new_strv(types, 1));
  g_variant_builder_add(&builder, "{sv}", "SupportedFeatures", g_variant_new_strv(nullptr, 0));
  return g_variant_builder_end(&builder);
}

MockBluez::Monitor readMonitor(const gchar* path, GVariant* properties) {
  MockBluez::Monitor monitor{path, "", ""};
  const gchar* type = nullptr;
  if (g_variant_lookup(properties, "Type", "&s", &type)) monitor.type = type;
  if (GVariant* patterns = g_variant_lookup_value(properties, "Patterns", nullptr)) {
    g_autofree gchar* text = g_variant_print(patterns, TRUE);
    monitor.patterns = text;
    g_variant_unref(patterns);
  }
  return monitor;
}

}  // namespace

MockBluez::MockBluez(DbusMockHarness& bus) : bus_(bus) { bus_.startTemplate("bluez5", kBluez); }

void MockBluez::addAdapter() {
  bus_.call(kBluez, "/", "org.bluez.Mock", "AddAdapter", g_variant_new("(ss)", "hci0", "host"));
  addAdapterMethod("org.bluez.Adapter1", "StopDiscovery", "", kStopDiscovery);
  addAdapterMethod(kTestIface, "Advertise", "oa{sv}", kAdvertise);
}

void MockBluez::addAdapterMethod(const char* iface, const char* method, const char* inSignature,
                                 const std::string& code) {
  bus_.call(kBluez, kAdapter, kMock, "AddMethod",
            g_variant_new("(sssss)", iface, method, inSignature, "", code.c_str()));
}

void MockBluez::refuse(const char* method, const std::string& errorName) {
  addAdapterMethod("org.bluez.Adapter1", method, "", raising(errorName));
}

void MockBluez::setPowered(bool powered) {
  bus_.call(
      kBluez, kAdapter, kProperties, "Set",
      g_variant_new("(ssv)", "org.bluez.Adapter1", "Powered", g_variant_new_boolean(powered)));
}

bool MockBluez::discovering() {
  auto reply = bus_.call(kBluez, kAdapter, kProperties, "Get",
                         g_variant_new("(ss)", "org.bluez.Adapter1", "Discovering"));
  GVariant* value = nullptr;
  g_variant_get(reply.get(), "(v)", &value);
  const bool result = g_variant_get_boolean(value);
  g_variant_unref(value);
  return result;
}

std::string MockBluez::addDevice(const std::string& address) {
  auto reply = bus_.call(kBluez, "/", "org.bluez.Mock", "AddDevice",
                         g_variant_new("(sss)", "hci0", address.c_str(), "beacon"));
  const gchar* path = nullptr;
  g_variant_get(reply.get(), "(&s)", &path);
  return path;
}

void MockBluez::setServiceUuids(const std::string& device, const std::vector<std::string>& uuids) {
  std::vector<const char*> items;
  for (const auto& uuid : uuids) items.push_back(uuid.c_str());
  bus_.call(kBluez, device, kProperties, "Set",
            g_variant_new("(ssv)", "org.bluez.Device1", "UUIDs",
                          g_variant_new_strv(items.data(), static_cast<gssize>(items.size()))));
}

void MockBluez::advertise(const std::string& device, const ManufacturerData& entries,
                          std::int16_t rssi) {
  GVariantBuilder data;
  g_variant_builder_init(&data, G_VARIANT_TYPE("a{qv}"));
  for (const auto& [companyId, value] : entries) {
    g_variant_builder_add(
        &data, "{qv}", companyId,
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, value.data(), value.size(), 1));
  }
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&properties, "{sv}", "ManufacturerData", g_variant_builder_end(&data));
  g_variant_builder_add(&properties, "{sv}", "RSSI", g_variant_new_int16(rssi));
  bus_.call(kBluez, kAdapter, kTestIface, "Advertise",
            g_variant_new("(o@a{sv})", device.c_str(), g_variant_builder_end(&properties)));
}

std::size_t MockBluez::adapterCalls(const std::string& method) {
  return bus_.callArguments(kBluez, kAdapter, method).size();
}

MockBluez::DiscoveryFilter MockBluez::lastDiscoveryFilter() {
  auto calls = bus_.callArguments(kBluez, kAdapter, "SetDiscoveryFilter");
  if (calls.empty()) throw std::runtime_error("SetDiscoveryFilter was never called");
  GVariant* filter = nullptr;
  g_variant_get_child(calls.back().get(), 0, "v", &filter);
  DiscoveryFilter result;
  const gchar** uuids = nullptr;
  if (g_variant_lookup(filter, "UUIDs", "^a&s", &uuids)) {
    for (const gchar** uuid = uuids; *uuid; ++uuid) result.uuids.emplace_back(*uuid);
    g_free(uuids);
  }
  const gchar* transport = nullptr;
  if (g_variant_lookup(filter, "Transport", "&s", &transport)) result.transport = transport;
  gboolean duplicates = FALSE;
  if (g_variant_lookup(filter, "DuplicateData", "b", &duplicates)) {
    result.duplicateData = duplicates;
  }
  g_variant_unref(filter);
  return result;
}

MockBluez::Bytes MockBluez::iBeaconFrame(const std::string& proximityUuid, std::uint16_t major,
                                         std::uint16_t minor) {
  Bytes frame{0x02, 0x15};
  std::string hex = proximityUuid;
  std::erase(hex, '-');
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    frame.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  frame.insert(frame.end(),
               {static_cast<std::uint8_t>(major >> 8), static_cast<std::uint8_t>(major & 0xff),
                static_cast<std::uint8_t>(minor >> 8), static_cast<std::uint8_t>(minor & 0xff),
                kMeasuredPower});
  return frame;
}

void MockBluez::addMonitorManager(const std::string& registerError) {
  bus_.call(kBluez, kAdapter, kMock, "AddProperties",
            g_variant_new("(s@a{sv})", kManagerIface, monitorManagerProperties()));
  addAdapterMethod(kManagerIface, "RegisterMonitor", "o",
                   registerError.empty() ? "" : raising(registerError));
  addAdapterMethod(kManagerIface, "UnregisterMonitor", "o", "");
  GVariantBuilder interfaces;
  g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
  g_variant_builder_add(&interfaces, "{s@a{sv}}", kManagerIface, monitorManagerProperties());
  bus_.emitSignal(kBluez, "/", kObjectManager, "InterfacesAdded", "oa{sa{sv}}",
                  {g_variant_new_object_path(kAdapter), g_variant_builder_end(&interfaces)});
}

std::vector<std::string> MockBluez::rootsPassedTo(const std::string& method) {
  std::vector<std::string> roots;
  for (const auto& args : bus_.callArguments(kBluez, kAdapter, method)) {
    GVariant* root = nullptr;
    g_variant_get_child(args.get(), 0, "v", &root);
    roots.emplace_back(g_variant_get_string(root, nullptr));
    g_variant_unref(root);
  }
  return roots;
}

std::vector<MockBluez::Monitor> MockBluez::monitorsAt(const std::string& root) {
  auto names = bus_.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "ListNames");
  const gchar** list = nullptr;
  g_variant_get(names.get(), "(^a&s)", &list);
  std::vector<std::string> uniqueNames;
  for (const gchar** name = list; *name; ++name) {
    if (**name == ':') uniqueNames.emplace_back(*name);
  }
  g_free(list);
  for (const auto& name : uniqueNames) {
    DbusMockHarness::VariantPtr reply(nullptr, &g_variant_unref);
    try {
      reply = bus_.callIterating(name, root, kObjectManager, "GetManagedObjects");
    } catch (const std::runtime_error&) {
      continue;  // not the application's connection
    }
    applicationOwner_ = name;
    std::vector<Monitor> monitors;
    GVariantIter objects;
    const gchar* path = nullptr;
    GVariant* interfaces = nullptr;
    GVariant* tree = g_variant_get_child_value(reply.get(), 0);
    g_variant_iter_init(&objects, tree);
    while (g_variant_iter_next(&objects, "{&o@a{sa{sv}}}", &path, &interfaces)) {
      if (GVariant* properties = g_variant_lookup_value(interfaces, kMonitorIface, nullptr)) {
        monitors.push_back(readMonitor(path, properties));
        g_variant_unref(properties);
      }
      g_variant_unref(interfaces);
    }
    g_variant_unref(tree);
    return monitors;
  }
  throw std::runtime_error("no connection exports an application at " + root);
}

void MockBluez::callMonitor(const std::string& monitorPath, const char* method,
                            const std::string& device) {
  bus_.callIterating(applicationOwner_, monitorPath, kMonitorIface, method,
                     g_variant_new("(o)", device.c_str()));
}

}  // namespace lumora::test
