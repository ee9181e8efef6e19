#include <glib.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/DbusMockHarness.hpp"
#include "support/MockBluez.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::test {
namespace {

namespace fs = std::filesystem;
using testing::TestHttpsServer;

constexpr const char* kNotifications = "org.freedesktop.Notifications";
const std::vector<std::string> kCheckNames = {"sdk.plist", "bluetooth", "notifications",
                                              "network",   "endpoints", "user-defaults"};

struct Endpoints {
  std::string eventURL, noTrackingEventURL, creativeHost;
};

/// Both endpoint groups set to endpoints, with or without the beacon settings.
std::string plist(const Endpoints& e, bool beaconSettings = true) {
  std::string text = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)";
  text += "<key>APIEndpoints</key><dict>";
  for (const char* group : {"Production", "Stage"}) {
    text += std::string("<key>") + group + "</key><dict><key>EventURL</key><string>" + e.eventURL +
            "</string><key>NoTrackingEventURL</key><string>" + e.noTrackingEventURL +
            "</string><key>CreativeCDNURL</key><string>" + e.creativeHost +
            "</string><key>CreativeBucketName</key><string>bucket</string></dict>";
  }
  text += "</dict>";
  if (beaconSettings) {
    text += R"(<key>BeaconSettings</key><dict>
<key>AppleBeacon</key><dict><key>UUID</key><string>E2C56DB5-DFFB-48D2-B060-D0F5A71096E0</string>
<key>Identifier</key><string>store</string></dict>
<key>CustomBeacon</key><dict><key>ServiceUUID</key>
<string>0000FEAA-0000-1000-8000-00805F9B34FB</string></dict></dict>)";
  }
  return text + "</dict></plist>";
}

/// What the machine under examination offers; each fault row spoils one part.
struct Machine {
  bool bluetoothd = true;
  bool adapter = true;
  bool powered = true;
  bool monitorApi = true;
  bool discoveryRefused = false;
  bool notificationServer = true;
  std::string capabilities = "actions body body-markup sound";
  std::optional<Endpoints> endpoints;    // default: the test server's
  std::optional<std::string> plistText;  // default: plist(endpoints)
  bool trustTestCa = true;
  bool otherCa = false;
  bool configHomeIsFile = false;
  bool missingConfigFile = false;
};

struct DoctorRun {
  int exitStatus = -1;
  std::string out;
  std::string err;
  nlohmann::json json;

  std::map<std::string, std::string> statuses() const {
    std::map<std::string, std::string> result;
    for (const auto& check : json.at("checks")) result[check.at("name")] = check.at("status");
    return result;
  }
  std::string detail(const std::string& name) const {
    for (const auto& check : json.at("checks")) {
      if (check.at("name") == name) return check.at("detail");
    }
    return {};
  }
};

class LumoraDoctorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (auto missing = DbusMockHarness::missingTools()) GTEST_SKIP() << *missing;
    bus = std::make_unique<DbusMockHarness>();
    directory = fs::temp_directory_path() / ("lumora-doctor-test-" + std::to_string(getpid()));
    fs::remove_all(directory);
    fs::create_directories(directory);
  }
  void TearDown() override { fs::remove_all(directory); }

  void build(const Machine& machine) {
    if (machine.bluetoothd) {
      bluez = std::make_unique<MockBluez>(*bus);
      if (machine.adapter) bluez->addAdapter();
      if (machine.adapter && machine.monitorApi) bluez->addMonitorManager();
      if (machine.adapter && !machine.powered) bluez->setPowered(false);
      if (machine.discoveryRefused) {
        bluez->refuse("StartDiscovery", "org.freedesktop.DBus.Error.AccessDenied");
      }
    }
    if (machine.notificationServer) {
      bus->startTemplate("notification_daemon", kNotifications,
                         R"({"capabilities": ")" + machine.capabilities + R"("})");
    }
    const Endpoints endpoints = machine.endpoints.value_or(
        Endpoints{server.url("/v1/events"), server.url("/v1/events-nt"), server.hostAndPort()});
    configFile = directory / "sdk.plist";
    std::ofstream(configFile) << machine.plistText.value_or(plist(endpoints));
    if (machine.missingConfigFile) configFile = directory / "absent.plist";

    environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus->address()},
                   {"DBUS_SESSION_BUS_ADDRESS", bus->address()},
                   {"XDG_CONFIG_HOME", (directory / "config").string()}};
    if (machine.configHomeIsFile) {
      std::ofstream(directory / "plain-file") << "x";
      environment["XDG_CONFIG_HOME"] = (directory / "plain-file").string();
    }
    if (machine.trustTestCa) {
      environment["LUMORA_CA_FILE"] = machine.otherCa ? server.otherCaFile() : server.caFile();
    }
  }

  DoctorRun run(std::vector<std::string> arguments) {
    gchar** envp = g_environ_unsetenv(g_get_environ(), "LUMORA_CA_FILE");
    for (const auto& [name, value] : environment) {
      envp = g_environ_setenv(envp, name.c_str(), value.c_str(), TRUE);
    }
    arguments.insert(arguments.begin(), LUMORA_DOCTOR_PATH);
    std::vector<gchar*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    DoctorRun result;
    gchar *out = nullptr, *err = nullptr;
    gint wait = 0;
    const bool spawned = g_spawn_sync(nullptr, argv.data(), envp, G_SPAWN_DEFAULT, nullptr, nullptr,
                                      &out, &err, &wait, nullptr);
    g_strfreev(envp);
    EXPECT_TRUE(spawned) << LUMORA_DOCTOR_PATH;
    result.out = out ? out : "";
    result.err = err ? err : "";
    g_free(out);
    g_free(err);
    result.exitStatus = spawned && WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    if (arguments[1] == "--json") result.json = nlohmann::json::parse(result.out, nullptr, false);
    return result;
  }

  DoctorRun runJson() { return run({"--json", "--config", configFile.string()}); }

  std::unique_ptr<DbusMockHarness> bus;
  std::unique_ptr<MockBluez> bluez;
  TestHttpsServer server;
  fs::path directory;
  fs::path configFile;
  std::map<std::string, std::string> environment;
};

TEST_F(LumoraDoctorTest, AHealthyMachinePassesEveryCheckInBothOutputs) {
  build(Machine{});
  const auto result = runJson();
  ASSERT_FALSE(result.json.is_discarded()) << result.out;
  EXPECT_EQ(result.exitStatus, 0) << result.out;
  auto statuses = result.statuses();
  EXPECT_EQ(statuses.size(), kCheckNames.size());
  for (const auto& check : result.json.at("checks")) EXPECT_EQ(check.size(), 3u) << check;
  // This machine's routing table is not the test's to choose; a missing
  // default route is only a warning.
  EXPECT_NE(statuses["network"], "error");
  statuses["network"] = "ok";
  for (const auto& name : kCheckNames) EXPECT_EQ(statuses[name], "ok") << result.detail(name);
  EXPECT_NE(result.detail("sdk.plist").find(configFile.string()), std::string::npos);
  EXPECT_NE(result.detail("endpoints").find(server.url("/v1/events")), std::string::npos);
  EXPECT_FALSE(bluez->discovering()) << "the discovery probe must not stay on";

  const auto text = run({"--config", configFile.string()});
  EXPECT_EQ(text.exitStatus, 0);
  for (const auto& name : kCheckNames) {
    EXPECT_NE(text.out.find("ok      " + name), std::string::npos) << name << "\n" << text.out;
  }
}

struct Fault {
  const char* name;
  std::function<void(Machine&)> spoil;
  const char* check;
  const char* status;
  const char* detail;  // a part of the check's detail
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class LumoraDoctorFaultTest : public LumoraDoctorTest,
                              public ::testing::WithParamInterface<Fault> {};

TEST_P(LumoraDoctorFaultTest, ReportsTheFaultAndExitsByItsSeverity) {
  Machine machine;
  GetParam().spoil(machine);
  build(machine);
  const auto result = runJson();
  ASSERT_FALSE(result.json.is_discarded()) << result.out;
  EXPECT_EQ(result.statuses()[GetParam().check], GetParam().status) << result.out;
  EXPECT_NE(result.detail(GetParam().check).find(GetParam().detail), std::string::npos)
      << result.detail(GetParam().check);
  EXPECT_EQ(result.exitStatus, std::string(GetParam().status) == "error" ? 1 : 0) << result.out;
}

// Endpoints where nothing listens (port 1), events sent by scheme, creatives from cdn.
std::function<void(Machine&)> serverless(const std::string& scheme, const std::string& cdn) {
  return [=](Machine& m) {
    const std::string events = "://127.0.0.1:1/v1/events";
    m.endpoints = {scheme + events, "https" + events, cdn};
  };
}

const Fault kFaults[] = {
    {"NoBluetoothd", [](Machine& m) { m.bluetoothd = false; }, "bluetooth", "error",
     "bluetoothd is not running"},
    {"NoAdapter", [](Machine& m) { m.adapter = false; }, "bluetooth", "error", "no adapter"},
    {"PoweredOff", [](Machine& m) { m.powered = false; }, "bluetooth", "error", "powered off"},
    {"DiscoveryRefused", [](Machine& m) { m.discoveryRefused = true; }, "bluetooth", "error",
     "discovery refused: org.freedesktop.DBus.Error.AccessDenied"},
    {"NoMonitorApi", [](Machine& m) { m.monitorApi = false; }, "bluetooth", "warning",
     "no advertisement monitor API"},
    {"NoNotificationServer", [](Machine& m) { m.notificationServer = false; }, "notifications",
     "error", "no notification server"},
    {"NoActions", [](Machine& m) { m.capabilities = "body body-markup"; }, "notifications",
     "warning", "no actions capability"},
    {"NotAPlist", [](Machine& m) { m.plistText = "<plist><dict>"; }, "sdk.plist", "error",
     "not a property list"},
    {"NoBeaconSettings",
     [](Machine& m) {
       m.plistText = plist({"https://a/", "https://b/", "c"}, false);
     },
     "sdk.plist", "error", "BeaconSettings section is missing in sdk.plist"},
    {"MissingConfigFile", [](Machine& m) { m.missingConfigFile = true; }, "sdk.plist", "error",
     "absent.plist: missing"},
    {"CdnWithScheme", serverless("https", "https://cdn.example.com"), "endpoints", "error",
     "has a scheme"},
    {"CdnWithPath", serverless("https", "cdn.example.com/creatives"), "endpoints", "error",
     "has a path"},
    {"CleartextEvents", serverless("http", "127.0.0.1:1"), "endpoints", "error", "cleartext http"},
    {"Unreachable", serverless("https", "127.0.0.1:1"), "endpoints", "error",
     "https://127.0.0.1:1/v1/events unreachable"},
    {"UntrustedWithoutCaFile", [](Machine& m) { m.trustTestCa = false; }, "endpoints", "error",
     "SSL certificate problem"},
    {"TrustedByAnotherCa", [](Machine& m) { m.otherCa = true; }, "endpoints", "error",
     "SSL certificate problem"},
    {"ConfigHomeIsAFile", [](Machine& m) { m.configHomeIsFile = true; }, "user-defaults", "error",
     "cannot be created"},
};
INSTANTIATE_TEST_SUITE_P(Faults, LumoraDoctorFaultTest, ::testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LumoraDoctorTest, BadArgumentsExitTwoWithOneLine) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{{"--bogus"}, {"--config"}}) {
    const auto result = run(arguments);
    EXPECT_EQ(result.exitStatus, 2) << arguments[0];
    EXPECT_TRUE(result.out.empty());
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
}

}  // namespace
}  // namespace lumora::test
