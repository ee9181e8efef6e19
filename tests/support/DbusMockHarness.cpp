#include "support/DbusMockHarness.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace lumora::test {
namespace {

constexpr const char* kPython = "/usr/bin/python3";
constexpr const char* kDaemon = "/usr/bin/dbus-daemon";

// A session-type bus that allows everything and activates nothing.
constexpr const char* kConfig =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

void unrefVariant(GVariant* value) {
  if (value) g_variant_unref(value);
}

// Takes a call's reply, or throws with the D-Bus error.
DbusMockHarness::VariantPtr takeReply(GVariant* reply, GError* error, const std::string& method) {
  if (!reply) {
    const std::string message = error ? error->message : "unknown error";
    g_clear_error(&error);
    throw std::runtime_error(method + " failed: " + message);
  }
  return DbusMockHarness::VariantPtr(reply, &unrefVariant);
}

}  // namespace

std::optional<std::string> DbusMockHarness::missingTools() {
  if (access(kDaemon, X_OK) != 0) return std::string("dbus-daemon is not installed");
  if (std::system((std::string(kPython) + " -c 'import dbusmock' >/dev/null 2>&1").c_str()) != 0) {
    return std::string("python3-dbusmock is not installed for /usr/bin/python3");
  }
  return std::nullopt;
}

DbusMockHarness::DbusMockHarness() {
  char pattern[] = "/tmp/lumora-dbus-XXXXXX";
  if (!mkdtemp(pattern)) throw std::runtime_error("cannot create a directory for the bus");
  directory_ = pattern;
  std::ofstream(directory_ / "bus.conf") << kConfig;

  const std::string address = "unix:path=" + (directory_ / "bus").string();
  daemon_ = spawn({kDaemon, "--config-file=" + (directory_ / "bus.conf").string(), "--nofork",
                   "--address=" + address});
  address_ = address;  // the children spawned from now on use the bus
  // Connects as soon as the daemon listens.
  for (int attempt = 0; attempt < 500 && !connection_; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    connection_ = g_dbus_connection_new_for_address_sync(
        address_.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
  }
  if (!connection_) throw std::runtime_error("cannot connect to the private bus");
  g_dbus_connection_set_exit_on_close(connection_, FALSE);
}

DbusMockHarness::~DbusMockHarness() {
  for (const auto& [name, pid] : mocks_) stopProcess(pid);
  if (connection_) {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }
  if (daemon_ > 0) stopProcess(daemon_);
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

pid_t DbusMockHarness::spawn(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);

  // The children see this bus as both their system and their session bus.
  gchar** environment = g_get_environ();
  for (const char* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"}) {
    environment = address_.empty() ? g_environ_unsetenv(environment, name)
                                   : g_environ_setenv(environment, name, address_.c_str(), TRUE);
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  // The daemon's warnings about resource limits are noise in test output.
  if (argv[0] == kDaemon) {
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  pid_t pid = -1;
  const int result = posix_spawn(&pid, args[0], &actions, &attributes, args.data(), environment);
  g_strfreev(environment);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (result != 0) throw std::runtime_error("cannot start " + argv[0]);
  return pid;
}

void DbusMockHarness::stopProcess(pid_t pid) {
  kill(-pid, SIGTERM);
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (waitpid(pid, nullptr, WNOHANG) == pid) {
      kill(-pid, SIGKILL);  // anything the leader left behind in its group
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  kill(-pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

void DbusMockHarness::startTemplate(const std::string& templateName, const std::string& busName,
                                    const std::string& parametersJson) {
  std::vector<std::string> argv{kPython, "-m", "dbusmock", "--template", templateName};
  if (!parametersJson.empty()) {
    argv.push_back("--parameters");
    argv.push_back(parametersJson);
  }
  mocks_[busName] = spawn(argv);
  if (!waitForOwner(busName, true)) {
    throw std::runtime_error("dbusmock template " + templateName + " did not come up");
  }
}

void DbusMockHarness::stopTemplate(const std::string& busName) {
  auto mock = mocks_.find(busName);
  if (mock == mocks_.end()) return;
  stopProcess(mock->second);
  mocks_.erase(mock);
  waitForOwner(busName, false);
}

bool DbusMockHarness::waitForOwner(const std::string& name, bool owned) {
  for (int attempt = 0; attempt < 500; ++attempt) {
    auto reply = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                      "NameHasOwner", g_variant_new("(s)", name.c_str()));
    gboolean hasOwner = FALSE;
    g_variant_get(reply.get(), "(b)", &hasOwner);
    if (static_cast<bool>(hasOwner) == owned) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

DbusMockHarness::VariantPtr DbusMockHarness::call(const std::string& destination,
                                                  const std::string& path, const std::string& iface,
                                                  const std::string& method, GVariant* params) {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(connection_, destination.c_str(), path.c_str(),
                                                iface.c_str(), method.c_str(), params, nullptr,
                                                G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &error);
  return takeReply(reply, error, method);
}

DbusMockHarness::VariantPtr DbusMockHarness::callIterating(const std::string& destination,
                                                           const std::string& path,
                                                           const std::string& iface,
                                                           const std::string& method,
                                                           GVariant* params) {
  // The blocking call runs on its own thread while this one iterates.
  auto reply = std::async(std::launch::async,
                          [&] { return call(destination, path, iface, method, params); });
  if (!until(
          [&] { return reply.wait_for(std::chrono::seconds(0)) == std::future_status::ready; })) {
    throw std::runtime_error(method + " got no answer");
  }
  return reply.get();
}

void DbusMockHarness::emitSignal(const std::string& busName, const std::string& path,
                                 const std::string& iface, const std::string& name,
                                 const std::string& signature, const std::vector<GVariant*>& args) {
  GVariantBuilder boxed;
  g_variant_builder_init(&boxed, G_VARIANT_TYPE("av"));
  for (GVariant* arg : args) g_variant_builder_add(&boxed, "v", arg);
  call(busName, path, "org.freedesktop.DBus.Mock", "EmitSignal",
       g_variant_new("(sss@av)", iface.c_str(), name.c_str(), signature.c_str(),
                     g_variant_builder_end(&boxed)));
}

std::vector<DbusMockHarness::VariantPtr> DbusMockHarness::callArguments(const std::string& busName,
                                                                        const std::string& path,
                                                                        const std::string& method) {
  auto reply = call(busName, path, "org.freedesktop.DBus.Mock", "GetMethodCalls",
                    g_variant_new("(s)", method.c_str()));
  std::vector<VariantPtr> result;
  GVariant* calls = g_variant_get_child_value(reply.get(), 0);
  for (gsize i = 0; i < g_variant_n_children(calls); ++i) {
    guint64 timestamp = 0;
    GVariant* args = nullptr;
    g_variant_get_child(calls, i, "(t@av)", &timestamp, &args);
    result.emplace_back(args, &unrefVariant);
  }
  g_variant_unref(calls);
  return result;
}

std::vector<std::string> DbusMockHarness::notifyCalls() {
  std::vector<std::string> texts;
  for (const auto& call : callArguments(kNotifications, kNotificationsPath, "Notify")) {
    g_autofree gchar* text = g_variant_print(call.get(), FALSE);
    texts.emplace_back(text);
  }
  return texts;
}

void DbusMockHarness::notificationSignal(const char* signal, guint32 id, GVariant* detail) {
  const std::string signature = std::string("u") + g_variant_get_type_string(detail);
  emitSignal(kNotifications, kNotificationsPath, kNotifications, signal, signature,
             {g_variant_new_uint32(id), detail});
}

bool until(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
  // A ticking source bounds each blocking iteration, so the deadline is seen
  // even when nothing else happens on the loop.
  const guint tick = g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  const auto end = std::chrono::steady_clock::now() + deadline;
  bool satisfied = condition();
  while (!satisfied && std::chrono::steady_clock::now() < end) {
    g_main_context_iteration(nullptr, TRUE);
    satisfied = condition();
  }
  g_source_remove(tick);
  return satisfied;
}

void idle(double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  until([&] { return std::chrono::steady_clock::now() >= end; },
        std::chrono::milliseconds(static_cast<int>(seconds * 1000) + 1000));
}

}  // namespace lumora::test
