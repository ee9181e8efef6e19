#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "devserver/DevServerCommandLine.hpp"
#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

std::string parseError(std::vector<std::string_view> arguments) {
  try {
    DevServerCommandLine::parse(arguments);
  } catch (const DevServerError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(DevServerCommandLineTest, ReadsEveryOption) {
  const std::vector<std::string_view> arguments = {"--creatives", "c",      "--port", "8443",
                                                   "--cert",      "a.pem",  "--key",  "k.pem",
                                                   "--events",    "e.jsonl"};
  const DevServerConfig config = DevServerCommandLine::parse(arguments);
  EXPECT_EQ(config.creativesDir, "c");
  EXPECT_EQ(config.port, 8443);
  EXPECT_EQ(config.certFile, "a.pem");
  EXPECT_EQ(config.keyFile, "k.pem");
  EXPECT_EQ(config.eventsFile, "e.jsonl");
  EXPECT_FALSE(config.certDir.has_value());
  EXPECT_EQ(config.console, nullptr);

  const std::vector<std::string_view> minimal = {"--cert-dir", "certs", "--creatives", "c"};
  const DevServerConfig defaults = DevServerCommandLine::parse(minimal);
  EXPECT_EQ(defaults.port, 0);
  EXPECT_EQ(defaults.certDir, "certs");
  EXPECT_FALSE(defaults.eventsFile.has_value());
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
