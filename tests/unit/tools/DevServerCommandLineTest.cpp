#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerCommandLine.hpp"
#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

// Each row: arguments and environment -> the settings read, "help", or the one-line error.
TEST(DevServerCommandLineTest, ReadsOptionsOrGivesOneClearLine) {
  const std::string noHome = "neither XDG_DATA_HOME nor HOME names a directory; use --cert-dir DIR";
  const std::string local = "c 0 - - - 127.0.0.1 /home/u/.local/share/lumora/devserver";
  const struct {
    std::string outcome;
    std::vector<std::string_view> arguments;
    const char* xdgDataHome = nullptr;
    const char* home = nullptr;
  } cases[] = {
      {"c 8443 a.pem k.pem e.jsonl ::1 -",
       {"--creatives", "c", "--port", "8443", "--cert", "a.pem", "--key", "k.pem", "--events",
        "e.jsonl", "--listen", "::1"}},
      {"c 0 - - - 127.0.0.1 certs", {"--cert-dir", "certs", "--creatives", "c"}},
      {"c 0 - - - 127.0.0.1 /xdg/lumora/devserver", {"--creatives", "c"}, "/xdg", "/home/u"},
      {local, {"--creatives", "c"}, nullptr, "/home/u"},
      {noHome, {"--creatives", "c"}, "relative", "also/relative"},
      {"help", {"--creatives", "c", "-h"}},
      {"--creatives DIR is required", {}},
      {"unknown option '--verbose'", {"--creatives", "c", "--verbose", "1"}},
      {"--port needs a number from 0 to 65535, got '65536'",
       {"--creatives", "c", "--port", "65536"}},
      {"--cert and --key go together", {"--creatives", "c", "--cert", "a.pem"}},
  };
  for (const auto& c : cases) {
    const auto environment = [&c](const char* name) -> const char* {
      return std::string_view(name) == "XDG_DATA_HOME" ? c.xdgDataHome
             : std::string_view(name) == "HOME"        ? c.home
                                                       : nullptr;
    };
    std::string outcome = "help";
    try {
      if (!DevServerCommandLine::wantsHelp(c.arguments)) {
        const DevServerConfig config = DevServerCommandLine::parse(c.arguments, environment);
        const auto shown = [](const auto& path) { return path ? path->string() : "-"; };
        outcome = config.creativesDir.string() + " " + std::to_string(config.port) + " " +
                  shown(config.certFile) + " " + shown(config.keyFile) + " " +
                  shown(config.eventsFile) + " " + config.listenAddress + " " +
                  shown(config.certDir);
      }
    } catch (const DevServerError& error) {
      outcome = error.what();
    }
    EXPECT_EQ(outcome, c.outcome);
  }
}

TEST(DevServerCommandLineTest, BannerTellsHowAHostTrustsTheCertificate) {
  testing::TemporaryDirectory dir;
  DevServerConfig config;
  config.creativesDir = dir.path();
  config.certDir = dir.path() / "it's here";
  DevServerEngine server(config);
  server.start();
  const std::string quoted = "'" + (dir.path() / "it'\\''s here" / "cert.pem").string() + "'";
  EXPECT_EQ(DevServerCommandLine::banner(server),
            "lumora-devserver listening on " + server.baseUrl() +
                "\nCA certificate: " + server.caFile().string() +
                "\nA host trusts it when started with:\n  export LUMORA_CA_FILE=" + quoted);
}

}  // namespace
}  // namespace lumora::tools
