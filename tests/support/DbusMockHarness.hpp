#pragma once

#include <gio/gio.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::test {

/// Iterates the default GLib main context until `condition` holds or the
/// deadline passes (only a guard against hangs); answers the condition.
bool until(const std::function<bool()>& condition,
           std::chrono::milliseconds deadline = std::chrono::seconds(30));
/// Runs the default GLib main context for this long.
void idle(double seconds);

/// A private dbus-daemon with python-dbusmock services on it, for tests of the
/// Linux backends against real D-Bus traffic (skip when missingTools() says why not).
///
/// The daemon has no service directories, so nothing is ever auto-started.
/// Every process runs in its own process group, and the destructor kills the
/// groups and reaps them: nothing outlives the harness.
class DbusMockHarness {
 public:
  using VariantPtr = std::unique_ptr<GVariant, void (*)(GVariant*)>;
  static constexpr const char* kNotifications = "org.freedesktop.Notifications";
  static constexpr const char* kNotificationsPath = "/org/freedesktop/Notifications";

  /// Why the harness cannot run here (no dbus-daemon, no dbusmock for
  /// /usr/bin/python3), or nothing when it can.
  static std::optional<std::string> missingTools();

  /// Starts the daemon; throws std::runtime_error when it does not come up.
  DbusMockHarness();
  ~DbusMockHarness();
  DbusMockHarness(const DbusMockHarness&) = delete;
  DbusMockHarness& operator=(const DbusMockHarness&) = delete;

  const std::string& address() const { return address_; }

  /// Runs `python3 -m dbusmock --template NAME` with this bus as both its
  /// system and session bus, and returns once it owns `busName`.
  void startTemplate(const std::string& templateName, const std::string& busName,
                     const std::string& parametersJson = "");
  /// Kills the mock that owns `busName` and waits until the name is free.
  void stopTemplate(const std::string& busName);

  /// A method call on the harness's own connection; throws std::runtime_error
  /// carrying the D-Bus error on failure. `params` may be floating.
  VariantPtr call(const std::string& destination, const std::string& path, const std::string& iface,
                  const std::string& method, GVariant* params = nullptr);
  /// The same call made while the default main context runs, so that an
  /// object served there can answer.
  VariantPtr callIterating(const std::string& destination, const std::string& path,
                           const std::string& iface, const std::string& method,
                           GVariant* params = nullptr);
  /// Makes the mock owning `busName` emit a signal from `path`; `args` are
  /// the signal's arguments as variants, matching `signature`.
  void emitSignal(const std::string& busName, const std::string& path, const std::string& iface,
                  const std::string& name, const std::string& signature,
                  const std::vector<GVariant*>& args);
  /// The argument tuples of the calls of `method` on the mock object at `path`, oldest first.
  std::vector<VariantPtr> callArguments(const std::string& busName, const std::string& path,
                                        const std::string& method);

  /// The arguments of each of the notification server's Notify calls, as GVariant text.
  std::vector<std::string> notifyCalls();
  /// The notification server emits `signal` (ActionInvoked, NotificationClosed)
  /// for notification `id` with `detail` as its second argument.
  void notificationSignal(const char* signal, guint32 id, GVariant* detail);

 private:
  pid_t spawn(const std::vector<std::string>& argv);
  void stopProcess(pid_t pid);
  bool waitForOwner(const std::string& name, bool owned);

  std::filesystem::path directory_;
  pid_t daemon_ = -1;
  std::string address_;
  GDBusConnection* connection_ = nullptr;
  std::map<std::string, pid_t> mocks_;  // by bus name
};

}  // namespace lumora::test
