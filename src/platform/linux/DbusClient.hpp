#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// An error from a D-Bus call: the remote error name when the peer sent one
/// (for example "org.bluez.Error.NotReady"), and the message.
struct DbusError {
  std::string name;
  std::string message;
  int code = 0;  // the GIO error code
};

/// One GDBus connection with std::function callbacks. Replies and signals are
/// delivered on the default GLib main context (the main queue's loop) when the
/// calling thread has no thread-default context of its own. Destroying the
/// client cancels calls in flight (their replies then arrive with an error),
/// removes its subscriptions and name watches, and closes nothing shared.
class DbusClient {
 public:
  /// result: the reply body (a tuple), or null with error set.
  using Reply = std::function<void(GVariant* result, const std::optional<DbusError>& error)>;
  using Signal =
      std::function<void(const std::string& path, const std::string& member, GVariant* parameters)>;
  using NameOwner = std::function<void(bool owned)>;

  /// Connects now: to the bus at `address` when given, else to the system or
  /// session bus. Answers nothing when no connection could be made; `failure`
  /// then holds why.
  static std::unique_ptr<DbusClient> connect(GBusType busType,
                                             const std::optional<std::string>& address,
                                             std::string* failure);
  ~DbusClient();

  DbusClient(const DbusClient&) = delete;
  DbusClient& operator=(const DbusClient&) = delete;

  /// Calls a method; `params` may be null, a floating reference is consumed.
  void call(const std::string& destination, const std::string& path, const std::string& iface,
            const std::string& method, GVariant* params, int timeoutMs, Reply reply);
  /// Subscribes to a signal from `sender`; empty member or path match all.
  void subscribe(const std::string& sender, const std::string& iface, const std::string& member,
                 const std::string& path, Signal handler);
  /// Reports whether `name` has an owner: once when known, then on every change.
  void watchName(const std::string& name, NameOwner handler);
  /// The connection itself, for exporting objects on it; owned by this client.
  GDBusConnection* connection() const { return connection_; }

 private:
  explicit DbusClient(GDBusConnection* connection);

  GDBusConnection* connection_;
  GCancellable* cancellable_;
  std::vector<guint> subscriptions_;
  std::vector<guint> watches_;
};

}  // namespace lumora::platform
