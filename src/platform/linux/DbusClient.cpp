#include "platform/linux/DbusClient.hpp"

#include <csignal>
#include <mutex>
#include <utility>

namespace lumora::platform {
namespace {

DbusError toDbusError(const GError* error) {
  DbusError result;
  result.code = error->code;
  result.message = error->message ? error->message : "";
  if (g_dbus_error_is_remote_error(error)) {
    gchar* name = g_dbus_error_get_remote_error(error);
    result.name = name ? name : "";
    g_free(name);
    GError* stripped = g_error_copy(error);
    g_dbus_error_strip_remote_error(stripped);
    result.message = stripped->message ? stripped->message : "";
    g_error_free(stripped);
  }
  return result;
}

template <typename T>
void deleteBox(gpointer data) {
  delete static_cast<T*>(data);
}

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// GLib's socket class ignores SIGPIPE for the whole process when it is first
// set up, yet its own sends never raise it on Linux (MSG_NOSIGNAL). So the
// class is set up here, once, and the host's SIGPIPE disposition put back: a
// host that relies on dying on a closed pipe keeps doing so.
void setUpSocketsKeepingTheHostsSigpipe() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction host {};
    ::sigaction(SIGPIPE, nullptr, &host);
    g_type_class_unref(g_type_class_ref(G_TYPE_SOCKET));
    ::sigaction(SIGPIPE, &host, nullptr);
  });
}

}  // namespace

DbusClient::DbusClient(GDBusConnection* connection)
    : connection_(connection), cancellable_(g_cancellable_new()) {}

std::unique_ptr<DbusClient> DbusClient::connect(GBusType busType,
                                                const std::optional<std::string>& address,
                                                std::string* failure) {
  setUpSocketsKeepingTheHostsSigpipe();
  GError* error = nullptr;
  GDBusConnection* connection =
      address
          ? g_dbus_connection_new_for_address_sync(
                address->c_str(),
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, &error)
          : g_bus_get_sync(busType, nullptr, &error);
  if (connection == nullptr) {
    if (failure) *failure = error ? error->message : "no connection";
    g_clear_error(&error);
    return nullptr;
  }
  // Our own connection to a private bus must not end the process when the
  // bus goes away.
  g_dbus_connection_set_exit_on_close(connection, FALSE);
  return std::unique_ptr<DbusClient>(new DbusClient(connection));
}

DbusClient::~DbusClient() {
  g_cancellable_cancel(cancellable_);
  for (guint id : subscriptions_) g_dbus_connection_signal_unsubscribe(connection_, id);
  for (guint id : watches_) g_bus_unwatch_name(id);
  g_object_unref(cancellable_);
  g_object_unref(connection_);
}

void DbusClient::call(const std::string& destination, const std::string& path,
                      const std::string& iface, const std::string& method, GVariant* params,
                      int timeoutMs, Reply reply) {
  g_dbus_connection_call(
      connection_, destination.c_str(), path.c_str(), iface.c_str(), method.c_str(), params,
      nullptr, G_DBUS_CALL_FLAGS_NONE, timeoutMs, cancellable_,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Reply> callback(static_cast<Reply*>(data));
        GError* error = nullptr;
        GVariant* body = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
        if (body) {
          (*callback)(body, std::nullopt);
          g_variant_unref(body);
        } else {
          (*callback)(nullptr, toDbusError(error));
          g_error_free(error);
        }
      },
      new Reply(std::move(reply)));
}

void DbusClient::subscribe(const std::string& sender, const std::string& iface,
                           const std::string& member, const std::string& path, Signal handler) {
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      connection_, orNull(sender), orNull(iface), orNull(member), orNull(path), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE,
      [](GDBusConnection*, const gchar*, const gchar* objectPath, const gchar*,
         const gchar* signalName, GVariant* parameters,
         gpointer data) { (*static_cast<Signal*>(data))(objectPath, signalName, parameters); },
      new Signal(std::move(handler)), &deleteBox<Signal>));
}

void DbusClient::watchName(const std::string& name, NameOwner handler) {
  watches_.push_back(g_bus_watch_name_on_connection(
      connection_, name.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
      [](GDBusConnection*, const gchar*, const gchar*, gpointer data) {
        (*static_cast<NameOwner*>(data))(true);
      },
      [](GDBusConnection*, const gchar*, gpointer data) {
        (*static_cast<NameOwner*>(data))(false);
      },
      new NameOwner(std::move(handler)), &deleteBox<NameOwner>));
}

}  // namespace lumora::platform
