#include "platform/linux/BluezAdvertisementMonitor.hpp"

#include <atomic>
#include <utility>

namespace lumora::platform {
namespace {

constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kMonitorIface = "org.bluez.AdvertisementMonitor1";

constexpr gint16 kAnyStrength = -127;      // the weakest RSSI BlueZ accepts as a threshold
constexpr guint16 kFoundAfterSeconds = 1;  // the shortest time BlueZ accepts
constexpr guint16 kEveryPacket = 0;        // RSSISamplingPeriod: propagate all packets

constexpr const char* kIntrospection = R"(
<node>
  <interface name='org.freedesktop.DBus.ObjectManager'>
    <method name='GetManagedObjects'>
      <arg name='objects' type='a{oa{sa{sv}}}' direction='out'/>
    </method>
    <signal name='InterfacesAdded'>
      <arg name='object' type='o'/>
      <arg name='interfaces' type='a{sa{sv}}'/>
    </signal>
    <signal name='InterfacesRemoved'>
      <arg name='object' type='o'/>
      <arg name='interfaces' type='as'/>
    </signal>
  </interface>
  <interface name='org.bluez.AdvertisementMonitor1'>
    <method name='Release'/>
    <method name='Activate'/>
    <method name='DeviceFound'><arg name='device' type='o' direction='in'/></method>
    <method name='DeviceLost'><arg name='device' type='o' direction='in'/></method>
    <property name='Type' type='s' access='read'/>
    <property name='Patterns' type='a(yyay)' access='read'/>
    <property name='RSSILowThreshold' type='n' access='read'/>
    <property name='RSSIHighThreshold' type='n' access='read'/>
    <property name='RSSILowTimeout' type='q' access='read'/>
    <property name='RSSIHighTimeout' type='q' access='read'/>
    <property name='RSSISamplingPeriod' type='q' access='read'/>
  </interface>
</node>)";

constexpr const char* kMonitorProperties[] = {
    "Type",           "Patterns",        "RSSILowThreshold",  "RSSIHighThreshold",
    "RSSILowTimeout", "RSSIHighTimeout", "RSSISamplingPeriod"};

/// Parsed once and kept for the life of the process, as GDBus keeps
/// references to the interface descriptions of exported objects.
GDBusNodeInfo* introspection() {
  static GDBusNodeInfo* const info = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
  return info;
}

/// Every application in this process gets its own root, so several centrals
/// can share one bus connection.
std::string nextRootPath() {
  static std::atomic<unsigned> counter{0};
  return "/com/lumora/beacon/advertisement_monitor" + std::to_string(++counter);
}

using WeakMonitor = std::weak_ptr<BluezAdvertisementMonitor>;

void deleteWeakMonitor(gpointer data) { delete static_cast<WeakMonitor*>(data); }

}  // namespace

BluezAdvertisementMonitor::BluezAdvertisementMonitor(GDBusConnection* connection,
                                                     std::vector<Pattern> patterns,
                                                     std::uint16_t lostAfterSeconds, Events events)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
      patterns_(std::move(patterns)),
      lostAfterSeconds_(lostAfterSeconds),
      events_(std::move(events)),
      rootPath_(nextRootPath()),
      monitorPath_(rootPath_ + "/ibeacon") {}

std::shared_ptr<BluezAdvertisementMonitor> BluezAdvertisementMonitor::create(
    GDBusConnection* connection, std::vector<Pattern> patterns, std::uint16_t lostAfterSeconds,
    Events events, std::string* failure) {
  std::shared_ptr<BluezAdvertisementMonitor> monitor(new BluezAdvertisementMonitor(
      connection, std::move(patterns), lostAfterSeconds, std::move(events)));
  if (!monitor->exportObjects(failure)) return nullptr;
  return monitor;
}

BluezAdvertisementMonitor::~BluezAdvertisementMonitor() {
  for (guint id : registrations_) g_dbus_connection_unregister_object(connection_, id);
  g_object_unref(connection_);
}

bool BluezAdvertisementMonitor::exportObjects(std::string* failure) {
  for (const auto& [path, iface] :
       {std::pair{rootPath_, kObjectManager}, std::pair{monitorPath_, kMonitorIface}}) {
    const guint id = exportObject(path, iface, failure);
    if (id == 0) return false;
    registrations_.push_back(id);
  }
  return true;
}

guint BluezAdvertisementMonitor::exportObject(const std::string& path, const char* iface,
                                              std::string* failure) {
  static const GDBusInterfaceVTable vtable{&onMethodCall, &onGetProperty, nullptr, {}};
  GError* error = nullptr;
  const guint id = g_dbus_connection_register_object(
      connection_, path.c_str(), g_dbus_node_info_lookup_interface(introspection(), iface), &vtable,
      new WeakMonitor(weak_from_this()), &deleteWeakMonitor, &error);
  if (id == 0 && failure) *failure = error ? error->message : "cannot export " + path;
  g_clear_error(&error);
  return id;
}

void BluezAdvertisementMonitor::onMethodCall(GDBusConnection*, const gchar*, const gchar*,
                                             const gchar*, const gchar* method,
                                             GVariant* parameters,
                                             GDBusMethodInvocation* invocation, gpointer data) {
  auto self = static_cast<WeakMonitor*>(data)->lock();
  if (!self) {
    g_dbus_method_invocation_return_dbus_error(invocation, "org.bluez.Error.Failed",
                                               "monitor gone");
    return;
  }
  self->handleMethod(method, parameters, invocation);
}

void BluezAdvertisementMonitor::handleMethod(const std::string& method, GVariant* parameters,
                                             GDBusMethodInvocation* invocation) {
  if (method == "GetManagedObjects") {
    g_dbus_method_invocation_return_value(invocation,
                                          g_variant_new("(@a{oa{sa{sv}}})", managedObjects()));
    return;
  }
  // Release, Activate, DeviceFound and DeviceLost expect no reply; answering
  // first keeps the callbacks free to drop this object.
  g_dbus_method_invocation_return_value(invocation, nullptr);
  if (method == "Release") {
    if (events_.released) events_.released();
  } else if (method == "DeviceFound" || method == "DeviceLost") {
    const gchar* device = nullptr;
    g_variant_get(parameters, "(&o)", &device);
    const auto& handler = method == "DeviceFound" ? events_.deviceFound : events_.deviceLost;
    if (handler) handler(device);
  }
}

GVariant* BluezAdvertisementMonitor::onGetProperty(GDBusConnection*, const gchar*, const gchar*,
                                                   const gchar*, const gchar* name, GError**,
                                                   gpointer data) {
  auto self = static_cast<WeakMonitor*>(data)->lock();
  return self ? self->property(name) : nullptr;
}

GVariant* BluezAdvertisementMonitor::property(const std::string& name) const {
  if (name == "Type") return g_variant_new_string("or_patterns");
  if (name == "RSSILowThreshold" || name == "RSSIHighThreshold") {
    return g_variant_new_int16(kAnyStrength);
  }
  if (name == "RSSILowTimeout") return g_variant_new_uint16(lostAfterSeconds_);
  if (name == "RSSIHighTimeout") return g_variant_new_uint16(kFoundAfterSeconds);
  if (name == "RSSISamplingPeriod") return g_variant_new_uint16(kEveryPacket);
  if (name != "Patterns") return nullptr;
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(yyay)"));
  for (const auto& pattern : patterns_) {
    g_variant_builder_add(&builder, "(yy@ay)", pattern.startPosition, pattern.adType,
                          g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, pattern.content.data(),
                                                    pattern.content.size(), 1));
  }
  return g_variant_builder_end(&builder);
}

GVariant* BluezAdvertisementMonitor::managedObjects() const {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  for (const char* name : kMonitorProperties) {
    g_variant_builder_add(&properties, "{sv}", name, property(name));
  }
  GVariantBuilder interfaces;
  g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
  g_variant_builder_add(&interfaces, "{s@a{sv}}", kMonitorIface,
                        g_variant_builder_end(&properties));
  GVariantBuilder objects;
  g_variant_builder_init(&objects, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
  g_variant_builder_add(&objects, "{o@a{sa{sv}}}", monitorPath_.c_str(),
                        g_variant_builder_end(&interfaces));
  return g_variant_builder_end(&objects);
}

}  // namespace lumora::platform
