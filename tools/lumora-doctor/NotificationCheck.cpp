#include "lumora-doctor/NotificationCheck.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "lumora-doctor/DoctorBus.hpp"
#include "lumora-doctor/Findings.hpp"
#include "platform/linux/DbusValues.hpp"

namespace lumora::doctor {
namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kServerRemedy =
    "run a notification server in the session (GNOME Shell, KDE Plasma, dunst, mako, "
    "xfce4-notifyd)";

std::string serverName(const DoctorBus::Reply& information) {
  if (!g_variant_is_of_type(information.value.get(), G_VARIANT_TYPE("(ssss)"))) return "unnamed";
  const gchar* name = nullptr;
  const gchar* vendor = nullptr;
  const gchar* version = nullptr;
  g_variant_get(information.value.get(), "(&s&s&s&s)", &name, &vendor, &version, nullptr);
  return std::string(name) + " " + version + " (" + vendor + ")";
}

std::vector<std::string> capabilities(const DoctorBus::Reply& reply) {
  if (!g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(as)"))) return {};
  GVariant* list = g_variant_get_child_value(reply.value.get(), 0);
  auto result = platform::stringList(list);
  g_variant_unref(list);
  return result;
}

}  // namespace

Check NotificationCheck::run(std::chrono::milliseconds timeout) {
  Findings findings;
  std::string failure;
  const auto bus = DoctorBus::connect(G_BUS_TYPE_SESSION, timeout, &failure);
  if (!bus) {
    findings.error("no session bus: " + failure +
                       "; the SDK's notification permission reads "
                       "as denied",
                   "run the host inside a desktop session, or set DBUS_SESSION_BUS_ADDRESS");
    return findings.check("notifications");
  }
  const auto information = bus->call(kName, kPath, kName, "GetServerInformation");
  if (!information.ok()) {
    findings.error("no notification server (" + information.errorMessage +
                       "): the SDK's notification permission reads as denied and no creative "
                       "is shown",
                   kServerRemedy);
    return findings.check("notifications");
  }
  findings.ok("server " + serverName(information));
  const auto reply = bus->call(kName, kPath, kName, "GetCapabilities");
  const auto list = capabilities(reply);
  const auto has = [&](const char* capability) {
    return std::find(list.begin(), list.end(), capability) != list.end();
  };
  if (has("actions")) {
    findings.ok("actions (a tap reports a click)");
  } else {
    findings.warning("no actions capability: a tap on a notification cannot reach the SDK",
                     "use a server that supports actions (GNOME Shell, KDE Plasma, dunst, mako)");
  }
  findings.ok(has("body-markup") ? "body-markup (messages are escaped)" : "plain-text bodies");
  findings.ok(has("sound") ? "sound" : "no sound");
  return findings.check("notifications");
}

}  // namespace lumora::doctor
