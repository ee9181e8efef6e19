#include "lumora-doctor/BluetoothCheck.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "lumora-doctor/DoctorBus.hpp"
#include "lumora-doctor/Findings.hpp"
#include "platform/linux/DbusValues.hpp"

namespace lumora::doctor {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kAdapterIface = "org.bluez.Adapter1";
constexpr const char* kMonitorManagerIface = "org.bluez.AdvertisementMonitorManager1";
constexpr const char* kGroupRemedy =
    "add the user to the bluetooth group (sudo usermod -aG bluetooth $USER) and log in again";

/// What the SDK needs to know about its adapter.
struct Adapter {
  std::string path;
  bool powered = false;
  bool hasMonitorManager = false;
  std::vector<std::string> monitorTypes;  // SupportedMonitorTypes, when announced
  bool monitorTypesAnnounced = false;
};

GVariant* property(GVariant* properties, const char* name) {
  return g_variant_lookup_value(properties, name, nullptr);
}

/// The first adapter among the managed objects, in the order bluetoothd lists
/// them (the SDK takes the same one).
std::optional<Adapter> firstAdapter(GVariant* managedObjects) {
  GVariantIter iter;
  g_variant_iter_init(&iter, managedObjects);
  const gchar* path = nullptr;
  GVariant* interfaces = nullptr;
  while (g_variant_iter_next(&iter, "{&o@a{sa{sv}}}", &path, &interfaces)) {
    GVariant* adapter = g_variant_lookup_value(interfaces, kAdapterIface, nullptr);
    if (!adapter) {
      g_variant_unref(interfaces);
      continue;
    }
    Adapter found;
    found.path = path;
    if (GVariant* powered = property(adapter, "Powered")) {
      found.powered =
          g_variant_is_of_type(powered, G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(powered);
      g_variant_unref(powered);
    }
    if (GVariant* manager = g_variant_lookup_value(interfaces, kMonitorManagerIface, nullptr)) {
      found.hasMonitorManager = true;
      if (GVariant* types = property(manager, "SupportedMonitorTypes")) {
        found.monitorTypesAnnounced = true;
        found.monitorTypes = platform::stringList(types);
        g_variant_unref(types);
      }
      g_variant_unref(manager);
    }
    g_variant_unref(adapter);
    g_variant_unref(interfaces);
    return found;
  }
  return std::nullopt;
}

bool refusedByPolicy(const DoctorBus::Reply& reply) {
  return reply.errorName == "org.freedesktop.DBus.Error.AccessDenied" ||
         reply.errorName == "org.bluez.Error.NotAuthorized" ||
         reply.errorName == "org.bluez.Error.NotPermitted";
}

std::string describe(const DoctorBus::Reply& reply) {
  return reply.errorName.empty() ? reply.errorMessage
                                 : reply.errorName + " (" + reply.errorMessage + ")";
}

/// Asks for discovery the way the SDK does: a low-energy filter, then
/// StartDiscovery; stopped again at once.
void checkDiscovery(const DoctorBus& bus, const Adapter& adapter, Findings& findings) {
  GVariantBuilder filter;
  g_variant_builder_init(&filter, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&filter, "{sv}", "Transport", g_variant_new_string("le"));
  auto started = bus.call(kBluez, adapter.path, kAdapterIface, "SetDiscoveryFilter",
                          g_variant_new("(a{sv})", &filter));
  if (started.ok()) started = bus.call(kBluez, adapter.path, kAdapterIface, "StartDiscovery");
  if (started.ok()) {
    bus.call(kBluez, adapter.path, kAdapterIface, "StopDiscovery");
    findings.ok("discovery permitted");
  } else if (refusedByPolicy(started)) {
    findings.error("discovery refused: " + describe(started), kGroupRemedy);
  } else {
    findings.error("discovery failed: " + describe(started),
                   "check `bluetoothctl scan on`; rfkill list; journalctl -u bluetooth");
  }
}

void checkMonitorApi(const Adapter& adapter, Findings& findings) {
  const bool orPatterns = !adapter.monitorTypesAnnounced ||
                          std::find(adapter.monitorTypes.begin(), adapter.monitorTypes.end(),
                                    "or_patterns") != adapter.monitorTypes.end();
  if (adapter.hasMonitorManager && orPatterns) {
    findings.ok("advertisement monitor API available: bluetoothd watches iBeacon regions itself");
    return;
  }
  findings.warning(
      adapter.hasMonitorManager
          ? "advertisement monitor API without or_patterns: iBeacon regions use a discovery "
            "restarted every 4.5 s (more radio time)"
          : "no advertisement monitor API: iBeacon regions use a discovery restarted every "
            "4.5 s (more radio time)",
      "optional: run bluetoothd with -E, or set Experimental = true in /etc/bluetooth/main.conf");
}

}  // namespace

Check BluetoothCheck::run(std::chrono::milliseconds timeout) {
  Findings findings;
  std::string failure;
  const auto bus = DoctorBus::connect(G_BUS_TYPE_SYSTEM, timeout, &failure);
  if (!bus) {
    findings.error("no system bus: " + failure,
                   "start the system D-Bus daemon (sudo systemctl start dbus) or set "
                   "DBUS_SYSTEM_BUS_ADDRESS");
    return findings.check("bluetooth");
  }
  if (!bus->nameHasOwner(kBluez)) {
    findings.error("bluetoothd is not running (org.bluez has no owner on the system bus)",
                   "install bluez and start it: sudo systemctl enable --now bluetooth");
    return findings.check("bluetooth");
  }
  const auto objects =
      bus->call(kBluez, "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
  if (!objects.ok()) {
    findings.error(
        "bluetoothd does not answer: " + describe(objects),
        refusedByPolicy(objects) ? kGroupRemedy : "restart it: sudo systemctl restart bluetooth");
    return findings.check("bluetooth");
  }
  GVariant* tree = g_variant_get_child_value(objects.value.get(), 0);
  const auto adapter = firstAdapter(tree);
  g_variant_unref(tree);
  if (!adapter) {
    findings.error(
        "bluetoothd runs but has no adapter",
        "plug in a Bluetooth LE adapter; check `rfkill list` and `dmesg | grep -i blue`");
    return findings.check("bluetooth");
  }
  findings.ok("bluetoothd running, adapter " + adapter->path);
  if (!adapter->powered) {
    findings.error("adapter powered off: the SDK reports bluetoothDisabled",
                   "bluetoothctl power on (first `rfkill unblock bluetooth` if it is blocked)");
  } else {
    checkDiscovery(*bus, *adapter, findings);
  }
  checkMonitorApi(*adapter, findings);
  return findings.check("bluetooth");
}

}  // namespace lumora::doctor
