#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/MockBluezWorld.hpp"
#include "support/SdkPlist.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::test {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kCheckNames = {"sdk.plist", "bluetooth", "notifications",
                                              "network",   "endpoints", "user-defaults"};

/// A machine with one part spoiled ("" for none) and the check that must tell.
struct Situation {
  const char* name;
  std::string fault;
  const char* check;
  const char* status;
  const char* detail;            // a part of the check's detail
  const char* events = nullptr;  // where events go, when not to the test server
};

class LumoraDoctorTest : public MockBluezWorld, public ::testing::WithParamInterface<Situation> {
 protected:
  void SetUp() override {
    MockBluezWorld::SetUp();
    fs::remove_all(directory);
    fs::create_directories(directory);
  }
  void TearDown() override { fs::remove_all(directory); }

  void build(const Situation& s) {
    if (s.fault != "no monitor API") bluez->addMonitorManager();
    if (s.fault == "discovery refused") {
      bluez->refuse("StartDiscovery", "org.freedesktop.DBus.Error.AccessDenied");
    }
    if (s.fault != "no notification server") {
      bus->startTemplate("notification_daemon", "org.freedesktop.Notifications",
                         R"({"capabilities": "actions body body-markup sound"})");
    }
    const std::string events = s.events ? s.events : server.url("/v1/events");
    const auto plist =
        testing::SdkPlist::pointingAt(events, events, server.hostAndPort(), "bucket");
    std::ofstream(configFile) << (s.fault == "not a plist" ? "<plist><dict>" : plist.xml());
    std::ofstream(directory / "plain-file") << "x";
    const auto set = [this](const std::string& name, const std::string& value) {
      environment += name + "='" + value + "' ";
    };
    set("DBUS_SYSTEM_BUS_ADDRESS", bus->address());
    set("DBUS_SESSION_BUS_ADDRESS", bus->address());
    set("XDG_CONFIG_HOME",
        directory / (s.fault == "config home is a file" ? "plain-file" : "config"));
    if (s.fault != "untrusted") {
      set("LUMORA_CA_FILE", server.caFile());
    }
  }

  /// Runs the doctor with these arguments; its exit status, output and error output.
  std::tuple<int, std::string, std::string> run(const std::string& arguments) {
    const fs::path out = directory / "out", err = directory / "err";
    const int wait = std::system(("env -u LUMORA_CA_FILE " + environment + LUMORA_DOCTOR_PATH " " +
                                  arguments + " >" + out.string() + " 2>" + err.string())
                                     .c_str());
    const auto read = [](const fs::path& file) {
      std::ostringstream text;
      text << std::ifstream(file).rdbuf();
      return text.str();
    };
    return {WIFEXITED(wait) ? WEXITSTATUS(wait) : -1, read(out), read(err)};
  }

  /// Each check's status and detail, from the JSON report.
  std::map<std::string, std::pair<std::string, std::string>> checks(int& exitStatus) {
    const auto [status, out, err] = run("--json --config " + configFile.string());
    exitStatus = status;
    std::map<std::string, std::pair<std::string, std::string>> result;
    const auto report = nlohmann::json::parse(out);
    for (const auto& check : report.at("checks")) {
      EXPECT_EQ(check.size(), 3u) << check;
      result[check.at("name")] = {check.at("status"), check.at("detail")};
    }
    return result;
  }

  testing::TestHttpsServer server;
  fs::path directory =
      fs::temp_directory_path() / ("lumora-doctor-test-" + std::to_string(getpid()));
  fs::path configFile = directory / "sdk.plist";
  std::string environment;  // NAME='value' ...
};

TEST_F(LumoraDoctorTest, AHealthyMachinePassesEveryCheckInBothOutputs) {
  build({"healthy", "", "", "", ""});
  int exitStatus = -1;
  auto checks = this->checks(exitStatus);
  EXPECT_EQ(exitStatus, 0);
  EXPECT_EQ(checks.size(), kCheckNames.size());
  // This machine's routing table is not the test's to choose; a missing
  // default route is only a warning.
  EXPECT_NE(checks["network"].first, "error");
  checks["network"].first = "ok";
  for (const auto& name : kCheckNames) EXPECT_EQ(checks[name].first, "ok") << checks[name].second;
  EXPECT_NE(checks["sdk.plist"].second.find(configFile.string()), std::string::npos);
  EXPECT_NE(checks["endpoints"].second.find(server.url("/v1/events")), std::string::npos);
  EXPECT_FALSE(bluez->discovering()) << "the discovery probe must not stay on";
  const auto [status, text, err] = run("--config " + configFile.string());
  EXPECT_EQ(status, 0);
  for (const auto& name : kCheckNames) {
    EXPECT_NE(text.find("ok      " + name), std::string::npos) << name << "\n" << text;
  }
  const auto [code, out, error] = run("--bogus");
  EXPECT_EQ(code, 2);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
}

TEST_P(LumoraDoctorTest, ReportsTheFaultAndExitsByItsSeverity) {
  build(GetParam());
  int exitStatus = -1;
  const auto check = checks(exitStatus).at(GetParam().check);
  EXPECT_EQ(check.first, GetParam().status) << check.second;
  EXPECT_NE(check.second.find(GetParam().detail), std::string::npos) << check.second;
  EXPECT_EQ(exitStatus, check.first == "error" ? 1 : 0);
}

const Situation kFaults[] = {
    {"DiscoveryRefused", "discovery refused", "bluetooth", "error",
     "discovery refused: org.freedesktop.DBus.Error.AccessDenied"},
    {"NoMonitorApi", "no monitor API", "bluetooth", "warning", "no advertisement monitor API"},
    {"NoNotificationServer", "no notification server", "notifications", "error",
     "no notification server"},
    {"NotAPlist", "not a plist", "sdk.plist", "error", "not a property list"},
    {"CleartextEvents", "", "endpoints", "error", "cleartext http", "http://127.0.0.1:1/v1/events"},
    {"UntrustedWithoutCaFile", "untrusted", "endpoints", "error", "SSL certificate problem"},
    {"ConfigHomeIsAFile", "config home is a file", "user-defaults", "error", "cannot be created"},
};
INSTANTIATE_TEST_SUITE_P(Faults, LumoraDoctorTest, ::testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace lumora::test
