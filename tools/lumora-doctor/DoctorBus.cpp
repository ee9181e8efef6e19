#include "lumora-doctor/DoctorBus.hpp"

#include <cstdlib>
#include <filesystem>

namespace lumora::doctor {
namespace {

/// Where the bus is, as GIO would find it, except that a missing session
/// bus is reported instead of being launched.
std::optional<std::string> busAddress(GBusType type, std::string* failure) {
  if (type == G_BUS_TYPE_SESSION) {
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
      return address;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    if (runtime && *runtime &&
        std::filesystem::exists(std::filesystem::path(runtime) / "bus", error)) {
      return std::string("unix:path=") + runtime + "/bus";
    }
    *failure = "DBUS_SESSION_BUS_ADDRESS is unset and there is no $XDG_RUNTIME_DIR/bus";
    return std::nullopt;
  }
  GError* error = nullptr;
  gchar* address = g_dbus_address_get_for_bus_sync(type, nullptr, &error);
  if (!address) {
    *failure = error->message;
    g_error_free(error);
    return std::nullopt;
  }
  std::string result = address;
  g_free(address);
  return result;
}

struct Pending {
  GDBusConnection* connection = nullptr;
  std::string failure;
  bool done = false;
};

void onConnected(GObject*, GAsyncResult* result, gpointer data) {
  auto& pending = *static_cast<Pending*>(data);
  GError* error = nullptr;
  pending.connection = g_dbus_connection_new_for_address_finish(result, &error);
  if (error) {
    pending.failure = error->message;
    g_error_free(error);
  }
  pending.done = true;
}

gboolean onTimeout(gpointer cancellable) {
  g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
  return G_SOURCE_REMOVE;
}

/// Connects on a private main context so that a bus which accepts the socket
/// but never answers the handshake cannot hold the doctor up.
GDBusConnection* connectWithin(const std::string& address, std::chrono::milliseconds timeout,
                               std::string* failure) {
  GMainContext* context = g_main_context_new();
  g_main_context_push_thread_default(context);
  GCancellable* cancellable = g_cancellable_new();
  GSource* timer = g_timeout_source_new(static_cast<guint>(timeout.count()));
  g_source_set_callback(timer, onTimeout, cancellable, nullptr);
  g_source_attach(timer, context);

  Pending pending;
  g_dbus_connection_new_for_address(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, cancellable, onConnected, &pending);
  while (!pending.done) g_main_context_iteration(context, TRUE);

  g_source_destroy(timer);
  g_source_unref(timer);
  g_object_unref(cancellable);
  g_main_context_pop_thread_default(context);
  g_main_context_unref(context);
  if (!pending.connection) *failure = address + ": " + pending.failure;
  return pending.connection;
}

}  // namespace

std::unique_ptr<DoctorBus> DoctorBus::connect(GBusType type, std::chrono::milliseconds timeout,
                                              std::string* failure) {
  const auto address = busAddress(type, failure);
  if (!address) return nullptr;
  GDBusConnection* connection = connectWithin(*address, timeout, failure);
  if (!connection) return nullptr;
  return std::unique_ptr<DoctorBus>(new DoctorBus(connection, timeout));
}

DoctorBus::DoctorBus(GDBusConnection* connection, std::chrono::milliseconds timeout)
    : connection_(connection), timeout_(timeout) {}

DoctorBus::~DoctorBus() { g_object_unref(connection_); }

DoctorBus::Reply DoctorBus::call(const std::string& destination, const std::string& path,
                                 const std::string& iface, const std::string& method,
                                 GVariant* params) const {
  Reply reply;
  GError* error = nullptr;
  GVariant* value = g_dbus_connection_call_sync(
      connection_, destination.c_str(), path.c_str(), iface.c_str(), method.c_str(), params,
      nullptr, G_DBUS_CALL_FLAGS_NONE, static_cast<int>(timeout_.count()), nullptr, &error);
  if (value) {
    reply.value.reset(value);
    return reply;
  }
  if (gchar* name = g_dbus_error_get_remote_error(error)) {
    reply.errorName = name;
    g_free(name);
  }
  g_dbus_error_strip_remote_error(error);
  reply.errorMessage = error->message;
  g_error_free(error);
  return reply;
}

bool DoctorBus::nameHasOwner(const std::string& name) const {
  const Reply reply = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "NameHasOwner", g_variant_new("(s)", name.c_str()));
  gboolean owned = FALSE;
  if (reply.ok()) g_variant_get(reply.value.get(), "(b)", &owned);
  return owned;
}

}  // namespace lumora::doctor
