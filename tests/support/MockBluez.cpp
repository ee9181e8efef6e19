#include "support/MockBluez.hpp"

#include <stdexcept>

namespace lumora::test {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr std::uint8_t kMeasuredPower = 0xc5;  // -59 dBm at one metre

std::uint8_t hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
  throw std::invalid_argument("not a hexadecimal digit");
}

}  // namespace

MockBluez::MockBluez(DbusMockHarness& bus) : bus_(bus) { bus_.startTemplate("bluez5", kBluez); }

void MockBluez::addAdapter() {
  bus_.call(kBluez, "/", "org.bluez.Mock", "AddAdapter", g_variant_new("(ss)", "hci0", "host"));
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

void MockBluez::setDeviceProperty(const std::string& device, const char* name, GVariant* value) {
  bus_.call(kBluez, device, kProperties, "Set",
            g_variant_new("(ssv)", "org.bluez.Device1", name, value));
}

void MockBluez::setServiceUuids(const std::string& device, const std::vector<std::string>& uuids) {
  std::vector<const char*> items;
  for (const auto& uuid : uuids) items.push_back(uuid.c_str());
  setDeviceProperty(device, "UUIDs",
                    g_variant_new_strv(items.data(), static_cast<gssize>(items.size())));
}

void MockBluez::advertise(const std::string& device, std::uint16_t companyId, const Bytes& value) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{qv}"));
  g_variant_builder_add(
      &builder, "{qv}", companyId,
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, value.data(), value.size(), 1));
  setDeviceProperty(device, "ManufacturerData", g_variant_builder_end(&builder));
}

std::size_t MockBluez::adapterCalls(const std::string& method) {
  return bus_.callCount(kBluez, kAdapter, method);
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
  for (std::size_t i = 0; i + 1 < proximityUuid.size(); ++i) {
    if (proximityUuid[i] == '-') continue;
    frame.push_back(static_cast<std::uint8_t>(hexDigit(proximityUuid[i]) << 4 |
                                              hexDigit(proximityUuid[i + 1])));
    ++i;
  }
  frame.insert(frame.end(),
               {static_cast<std::uint8_t>(major >> 8), static_cast<std::uint8_t>(major & 0xff),
                static_cast<std::uint8_t>(minor >> 8), static_cast<std::uint8_t>(minor & 0xff),
                kMeasuredPower});
  return frame;
}

}  // namespace lumora::test
