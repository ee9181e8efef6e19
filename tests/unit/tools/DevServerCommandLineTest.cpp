#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerCommandLine.hpp"
#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

using testing::TemporaryDirectory;

const char* noEnvironment(const char*) { return nullptr; }

std::string parseError(std::vector<std::string_view> arguments) {
  try {
    DevServerCommandLine::parse(arguments, noEnvironment);
  } catch (const DevServerError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(DevServerCommandLineTest, ReadsEveryOption) {
  const std::vector<std::string_view> arguments = {"--creatives", "c",       "--port",   "8443",
                                                   "--cert",      "a.pem",   "--key",    "k.pem",
                                                   "--events",    "e.jsonl", "--listen", "::1"};
  const DevServerConfig config = DevServerCommandLine::parse(arguments, noEnvironment);
  EXPECT_EQ(config.creativesDir, "c");
  EXPECT_EQ(config.port, 8443);
  EXPECT_EQ(config.certFile, "a.pem");
  EXPECT_EQ(config.keyFile, "k.pem");
  EXPECT_EQ(config.eventsFile, "e.jsonl");
  EXPECT_EQ(config.listenAddress, "::1");
  EXPECT_FALSE(config.certDir.has_value());
  const std::vector<std::string_view> certDir = {"--cert-dir", "certs", "--creatives", "c"};
  EXPECT_EQ(DevServerCommandLine::parse(certDir, noEnvironment).certDir, "certs");
}

TEST(DevServerCommandLineTest, KeepsTheCertificateInTheUsersDataDirectoryByDefault) {
  struct Case {
    const char* xdgDataHome;
    const char* home;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"/xdg", "/home/u", "/xdg/lumora/devserver"},
      {nullptr, "/home/u", "/home/u/.local/share/lumora/devserver"},
      {"", "/home/u", "/home/u/.local/share/lumora/devserver"},
      {"relative/data", "/home/u", "/home/u/.local/share/lumora/devserver"},
      {nullptr, nullptr, "neither XDG_DATA_HOME nor HOME names a directory; use --cert-dir DIR"},
      {"relative", "also/relative",
       "neither XDG_DATA_HOME nor HOME names a directory; use --cert-dir DIR"},
  };
  const std::vector<std::string_view> arguments = {"--creatives", "c"};
  for (const Case& c : cases) {
    const auto environment = [&c](const char* name) -> const char* {
      return std::string_view(name) == "XDG_DATA_HOME" ? c.xdgDataHome
             : std::string_view(name) == "HOME"        ? c.home
                                                       : nullptr;
    };
    std::string got;
    try {
      got = DevServerCommandLine::parse(arguments, environment).certDir.value_or("none").string();
    } catch (const DevServerError& error) {
      got = error.what();
    }
    EXPECT_EQ(got, c.expected);
  }
}

TEST(DevServerCommandLineTest, BannerTellsHowAHostTrustsTheCertificate) {
  TemporaryDirectory dir;
  TemporaryDirectory creatives;
  DevServerConfig config;
  config.creativesDir = creatives.path();
  config.certDir = dir.path() / "it's here";
  DevServerEngine server(config);
  server.start();
  const std::string quoted = "'" + (dir.path() / "it'\\''s here" / "cert.pem").string() + "'";
  EXPECT_EQ(DevServerCommandLine::banner(server),
            "lumora-devserver listening on " + server.baseUrl() +
                "\nCA certificate: " + server.caFile().string() +
                "\nA host trusts it when started with:\n  export LUMORA_CA_FILE=" + quoted);
}

TEST(DevServerCommandLineTest, BadArgumentsGiveOneClearLine) {
  EXPECT_EQ(parseError({}), "--creatives DIR is required");
  EXPECT_EQ(parseError({"--creatives"}), "--creatives needs a value");
  EXPECT_EQ(parseError({"--creatives", "c", "--verbose", "1"}), "unknown option '--verbose'");
  EXPECT_EQ(parseError({"c"}), "unexpected argument 'c'");
  EXPECT_EQ(parseError({"--creatives", "c", "--port", "65536"}),
            "--port needs a number from 0 to 65535, got '65536'");
  EXPECT_EQ(parseError({"--creatives", "c", "--port", "80x"}),
            "--port needs a number from 0 to 65535, got '80x'");
  EXPECT_EQ(parseError({"--creatives", "c", "--cert", "a.pem"}), "--cert and --key go together");
  EXPECT_EQ(parseError({"--creatives", "c", "--listen", "localhost"}),
            "--listen needs an IPv4 or IPv6 address, got 'localhost'");
  EXPECT_EQ(parseError({"--creatives", "c", "--cert", "a", "--key", "k", "--cert-dir", "d"}),
            "--cert-dir is for a generated certificate; it cannot go with --cert");
}

TEST(DevServerCommandLineTest, HelpIsRecognisedAnywhere) {
  const std::vector<std::string_view> help = {"--creatives", "c", "-h"};
  const std::vector<std::string_view> none = {"--creatives", "c"};
  EXPECT_TRUE(DevServerCommandLine::wantsHelp(help));
  EXPECT_FALSE(DevServerCommandLine::wantsHelp(none));
}

}  // namespace
}  // namespace lumora::tools
