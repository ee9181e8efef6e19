// A minimal Linux host: runs the SDK on the GLib main loop for a given number
// of seconds and prints every callback it receives.
//
//   lumora-linux-host SECONDS [BUNDLE_DIRECTORY]
//
// BUNDLE_DIRECTORY, when given, is where sdk.plist is read from; otherwise the
// SDK finds the one installed with it (<prefix>/share/lumora/sdk.plist).
//
// The environment of the README's "For integrators" section needs no code
// here: the SDK itself reads LUMORA_CA_FILE (extra CAs for a staging server or
// lumora-devserver) and LUMORA_LOG_LEVEL, and reaches BlueZ and the
// notification server through DBUS_SYSTEM_BUS_ADDRESS and
// DBUS_SESSION_BUS_ADDRESS. For example:
//
//   LUMORA_CA_FILE=ca.pem LUMORA_LOG_LEVEL=info lumora-linux-host 30
//
// Run lumora-doctor first: it says what on this machine would stop the SDK.
#include <glib-unix.h>
#include <glib.h>
#include <lumora/lumora.hpp>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

std::ostream& operator<<(std::ostream& out, const lumora::LumoraAdCreative& creative) {
  return out << "creativeId=" << creative.creativeId() << " bindingId=" << creative.bindingId()
             << " campaignId=" << creative.campaignId() << " spaceId=" << creative.spaceId()
             << " data=" << creative.data().value_or("(none)");
}

// Every callback arrives on the GLib main loop's thread.
class PrintingHost : public lumora::LumoraAdBeaconCallback {
 public:
  void onInitialized() override { std::cout << "[host] onInitialized" << std::endl; }
  void onCreativeReceived(const lumora::LumoraAdCreative& creative) override {
    std::cout << "[host] onCreativeReceived " << creative << std::endl;
  }
  void onError(const lumora::LumoraAdBeaconError& error) override {
    std::cout << "[host] onError code=" << lumora::rawValue(error.code())
              << " message=" << error.message() << std::endl;
  }
  void onNotificationClicked(const lumora::LumoraAdCreative& creative) override {
    std::cout << "[host] onNotificationClicked " << creative << std::endl;
  }
};

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: " << argv[0] << " SECONDS [BUNDLE_DIRECTORY]" << std::endl;
    return 2;
  }
  char* end = nullptr;
  const double seconds = std::strtod(argv[1], &end);
  if (end == argv[1] || *end != '\0' || seconds < 0) {
    std::cerr << "SECONDS must be a non-negative number" << std::endl;
    return 2;
  }
  if (argc == 3) lumora::setBundleDirectory(argv[2]);

  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_timeout_add(static_cast<guint>(seconds * 1000), quit, loop);
  g_unix_signal_add(SIGINT, quit, loop);
  g_unix_signal_add(SIGTERM, quit, loop);

  auto& sdk = lumora::LumoraAdBeaconSDK::shared();
  sdk.initiate(lumora::ClientProfile(std::nullopt, std::nullopt, "LinuxHost", std::nullopt),
               std::make_shared<PrintingHost>(), lumora::Environment::stage);
  sdk.start();
  g_main_loop_run(loop);

  std::cout << "[host] isScanning=" << (sdk.isScanning() ? "true" : "false") << std::endl;
  sdk.stop();
  g_main_loop_unref(loop);
  return 0;
}
