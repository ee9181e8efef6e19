#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerEngine.hpp"
#include "gtest/gtest.h"
#include "support/SdkPlist.hpp"

namespace lumora::testing {
namespace {

using nlohmann::json;

const std::filesystem::path kStoreVisit =
    std::filesystem::path(LUMORA_EXAMPLES_DIR) / "store-visit" / "scenario.json";

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::size_t lineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

/// lumora-sim runs against a development server: the scenario and sdk.plist
/// in a temporary folder, the simulator run as its own process, its
/// JSON-lines records read back.
class SimScenarioTest : public ::testing::Test {
 protected:
  SimScenarioTest() {
    std::filesystem::create_directory(temporary);
    dir.write(
        "creatives/e2e/binding/3/0/0/ios.json",
        R"({"campaignId":12,"creativeId":345,"title":"Hello","message":"Come in","data":"d"})");
    dir.write("creatives/e2e/binding/1/2/3/4/ios.json",
              R"({"campaignId":12,"creativeId":346,"title":"Once","message":"a day",
                  "frequencyCapping":{"intervalHours":24,"maxFrequency":1}})");
    dir.write("creatives/e2e/binding/6/6/6/ios.json", R"({"title":"no ids","message":"m"})");
    tools::DevServerConfig config;
    config.creativesDir = dir.path() / "creatives";
    config.certDir = dir.path() / "cert";
    config.closeAfterEachRequest = true;
    server = std::make_unique<tools::DevServerEngine>(config);
    server->start();
    const std::string events = server->baseUrl();
    dir.write("sdk.plist", SdkPlist::pointingAt(events + "/tracking", events + "/no-tracking",
                                                server->hostAndPort(), "e2e")
                               .xml());
  }

  ~SimScenarioTest() override { server->stop(); }

  /// A scenario of these steps that uses sdk.plist and the server's CA.
  json scenario(const json& steps, double until) const {
    return {{"config", "sdk.plist"},
            {"caFile", server->caFile().string()},
            {"startTime", 1700000000.0},
            {"initial", {{"location", "authorizedAlways"}, {"notifications", "authorized"}}},
            {"steps", steps},
            {"until", until}};
  }

  struct Exit {
    int code = -1;
    std::string errorOutput;
  };
  struct Result : Exit {
    std::vector<json> records;
  };
  /// Runs lumora-sim with these arguments in the test's folder, its TMPDIR below it.
  Exit runSim(const std::vector<std::string>& arguments,
              const std::filesystem::path& standardOutput = "/dev/null") {
    const auto errors = dir.path() / "stderr.txt";
    std::vector<char*> argv{const_cast<char*>(LUMORA_SIM_PATH)};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      std::freopen(errors.c_str(), "w", stderr);
      std::freopen(standardOutput.c_str(), "w", stdout);
      setenv("TMPDIR", temporary.c_str(), 1);
      if (chdir(dir.path().c_str()) != 0) _exit(126);
      execv(LUMORA_SIM_PATH, argv.data());
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), dir.read(errors)};
  }

  /// Runs a scenario file with --jsonl and any further arguments.
  Result run(const std::filesystem::path& file,
             const std::vector<std::string>& moreArguments = {}) {
    const auto jsonl = dir.path() / "out.jsonl";
    std::filesystem::remove(jsonl);
    std::vector<std::string> arguments{file.string(), "--jsonl", jsonl.string()};
    arguments.insert(arguments.end(), moreArguments.begin(), moreArguments.end());
    Result result{runSim(arguments), {}};
    std::ifstream in(jsonl);
    for (std::string line; std::getline(in, line);) result.records.push_back(json::parse(line));
    return result;
  }

  static std::vector<json> ofKind(const Result& result, const std::string& kind) {
    std::vector<json> matching;
    std::copy_if(result.records.begin(), result.records.end(), std::back_inserter(matching),
                 [&kind](const json& record) { return record["kind"] == kind; });
    return matching;
  }
  /// Each callback's name, and its error code when it has one.
  static std::vector<std::string> callbacks(const Result& result) {
    std::vector<std::string> names;
    for (const auto& record : ofKind(result, "callback")) {
      names.push_back(record["name"].get<std::string>() +
                      (record.contains("code") ? " " + record["code"].dump() : ""));
    }
    return names;
  }
  /// The times of the log records with this message.
  static std::vector<double> logTimes(const Result& result, const std::string& message) {
    std::vector<double> times;
    for (const auto& record : ofKind(result, "log")) {
      if (record["message"] == message) times.push_back(record["t"]);
    }
    return times;
  }
  tools::testing::TemporaryDirectory dir;
  const std::filesystem::path temporary = dir.path() / "tmp";
  std::unique_ptr<tools::DevServerEngine> server;
};

// The shipped demo, run as shipped: the whole job, its story and the picture of the run.
TEST_F(SimScenarioTest, ShippedStoreVisitDemoDoesTheWholeJobTellsItsStoryAndDrawsIt) {
  const auto svg = dir.path() / "visit.svg", story = dir.path() / "story.txt";
  const auto result = run(kStoreVisit, {"--svg", svg.string()});
  ASSERT_EQ(result.code, 0) << result.errorOutput;
  EXPECT_EQ(callbacks(result), (std::vector<std::string>{"onInitialized", "onCreativeReceived",
                                                         "onNotificationClicked", "onError 11",
                                                         "onCreativeReceived"}));
  EXPECT_EQ(ofKind(result, "callback")[1]["creative"]["bindingId"], 1234);
  EXPECT_EQ(ofKind(result, "notification").size(), 2u);
  EXPECT_EQ(ofKind(result, "scan").at(0)["allowDuplicates"], true);
  const auto defaults = result.records.back();
  EXPECT_EQ(defaults["kind"], "defaults");
  EXPECT_EQ(defaults["store"]["LumoraBeaconSDK.UUID"].get<std::string>().size(), 36u);

  // Without --jsonl it tells the story; --verbose prints every line.
  ASSERT_EQ(runSim({kStoreVisit.string()}, story).code, 0);
  const std::string text = dir.read(story);
  EXPECT_LT(lineCount(text), 60u) << text;
  EXPECT_FALSE(contains(text, "Skipping duplicate")) << text;
  for (const char* line :
       {"     5.000s  gate          Entered iBeacon region: com.lumora.beacon.store-visit",
        "     5.000s  scan          start", "     6.000s  beacon        Processing beacon data",
        "    20.000s  action        tapNotification index=0", "    20.000s  server        POST",
        "    36.500s  callback      onError code=11",
        "  summary\n    creatives delivered  2 (2 notifications, 1 tapped)\n    suppressed         "
        "  "
        "1: frequency cap 1\n    errors by code       11 frequencyCapExceeded: 1\n    events     "
        "          6 accepted by the server (click 1, notification 2, request 3), 0 rejected, 0 "
        "failed to send\n    log                  0 warnings, 0 errors\n  (",
        "debug and info log lines not shown: --verbose shows them)\n"}) {
    EXPECT_TRUE(contains(text, line)) << line << "\n" << text;
  }
  runSim({kStoreVisit.string(), "--verbose"}, story);
  EXPECT_TRUE(contains(dir.read(story), "Skipping duplicate beacon data"));

  // x = 270 + t * 940 / 150 for this 150-second run.
  const std::string picture = dir.read(svg);
  for (const char* mark :
       {R"(data-lane="iBeacon region")", R"x(data-lane="custom scan (gate)")x",
        "data-lane=\"binding 1234 \u00b7 space 0a1b2c3d4e5f6071\"",
        "data-lane=\"binding 567 \u00b7 space f0e1d2c3b4a59687\"",
        R"(<rect class="region" x="301.3")", R"(<rect class="scan" x="301.3")",
        R"(<circle class="creative" cx="307.6")", R"(<circle class="tap" cx="395.3")",
        R"(<circle class="error" cx="498.7")", R"(<g class="legend")", R"(>150s</text>)",
        R"(width="1240" height="416")"}) {  // nine lanes, the axis and the legend
    EXPECT_TRUE(contains(picture, mark)) << mark;
  }
  if (std::system("command -v rsvg-convert >/dev/null") != 0) {
    GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
  }
  EXPECT_EQ(std::system(("rsvg-convert '" + svg.string() + "' >/dev/null").c_str()), 0);
}

// One visit through the facade's guards, the pipeline's failures, a tap, the
// profile choosing the endpoint, and a refused notification.
TEST_F(SimScenarioTest, OneVisitShowsGuardsFailuresTapsProfilesAndRefusals) {
  const json steps = json::parse(R"([
    {"at": 0, "action": "updateProfile", "profile": {"appName": "Early", "advertisingId": "AD-0"}},
    {"at": 1, "action": "initiate", "environment": "stage", "profile": {"appName": "Main"}},
    {"at": 1.5, "action": "initiate", "environment": "stage", "profile": {"appName": "E2E"}},
    {"at": 2, "action": "start"}, {"at": 2.5, "action": "start"},
    {"at": 3, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 300},
    {"at": 5, "action": "tapNotification", "index": 0},
    {"at": 5.5, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 999},
    {"at": 6, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 666},
    {"at": 7, "action": "setNetwork", "reachable": false},
    {"at": 8, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 300},
    {"at": 9, "action": "setNetwork", "reachable": true},
    {"at": 10, "action": "updateProfile", "profile": {"appName": "Later", "advertisingId": "AD-1"}},
    {"at": 11, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 1234},
    {"at": 12, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 1234},
    {"at": 13, "action": "setNotifications", "status": "denied"},
    {"at": 14, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 300},
    {"at": 15, "action": "stop"}, {"at": 15.5, "action": "stop"}, {"at": 16, "action": "probe"}
  ])");
  const auto result = run(dir.write("scenario.json", scenario(steps, 20).dump()));
  ASSERT_EQ(result.code, 0) << result.errorOutput;
  // Not found, malformed, offline, capped, notification refused.
  EXPECT_EQ(callbacks(result), (std::vector<std::string>{
                                   "onInitialized", "onCreativeReceived", "onNotificationClicked",
                                   "onError 6", "onError 7", "onError 10", "onCreativeReceived",
                                   "onError 11", "onCreativeReceived", "onError 12"}));
  for (const char* line :
       {"LumoraAdBeaconSDK is already initialized. Environment can only be set during "
        "initialization.",
        "Beacon scanning started successfully", "LumoraAdBeaconSDK is already running",
        "LumoraAdBeaconSDK is not started", "missing campaign-ID from Creative API"}) {
    EXPECT_EQ(logTimes(result, line).size(), 1u) << line;
  }
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], false);

  // Every detection that fetched a creative was reported, the capped one too;
  // the profile given before initiate was ignored, the later one chose tracking.
  std::vector<std::string> events;  // type, path, profile and creative, in any order
  for (const auto& event : server->events()) {
    EXPECT_TRUE(event.valid) << event.body.dump();
    const json& client = event.body["clientInfo"];
    events.push_back(event.body["eventType"].get<std::string>() + " " + event.path + " " +
                     client["appName"].get<std::string>() + " " + client.value("deviceId", "-") +
                     " " + event.body.value("cid", json()).dump() + "/" +
                     event.body.value("crid", json()).dump());
  }
  std::sort(events.begin(), events.end());
  EXPECT_EQ(events,
            (std::vector<std::string>{"click /no-tracking/device_events Main - 12/345",
                                      "notification /no-tracking/device_events Main - 12/345",
                                      "notification /tracking/device_events Later AD-1 12/346",
                                      "request /no-tracking/device_events Main - null/null",
                                      "request /tracking/device_events Later AD-1 null/null",
                                      "request /tracking/device_events Later AD-1 null/null",
                                      "request /tracking/device_events Later AD-1 null/null"}));
  EXPECT_EQ(ofKind(result, "notification").size(), 2u);
}

// A bare scenario name, unwritable outputs, unusable scenarios and hostile
// property lists: each failure is one line with its exit status, and the
// private certificate folder never stays behind in TMPDIR.
TEST_F(SimScenarioTest, FailuresAreOneLineAndLeaveNothingInTheTemporaryFolder) {
  json embedded = scenario(json::parse(R"([
    {"at": 0, "action": "initiate", "environment": "stage", "profile": {"appName": "E2E"}},
    {"at": 1, "action": "detect", "companyId": 4660, "spaceId": "0a1b", "bindingId": 300}
  ])"),
                           5);
  embedded.erase("caFile");
  embedded.update({{"server", "embedded"}, {"creatives", "creatives/"}});
  std::string nested;
  for (int i = 0; i < 100000; ++i) nested += "<array>";
  dir.write("embedded.json", embedded.dump());
  dir.write("nested.plist", "<plist>" + nested + "</plist>");
  embedded["config"] = "nested.plist";
  dir.write("nested.json", embedded.dump());
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char* mention;
  } cases[] = {
      {{"embedded.json", "--jsonl", "out.jsonl"}, 0, ""},
      {{"embedded.json", "--jsonl", "/dev/full"}, 1, "cannot write /dev/full"},
      {{"nested.json"}, 2, "nested too deeply"},
      {{"no-such-scenario.json"}, 2, "no-such-scenario.json"},
  };
  for (const auto& c : cases) {
    const auto exit = runSim(c.arguments);
    EXPECT_EQ(exit.code, c.code) << exit.errorOutput;
    EXPECT_EQ(lineCount(exit.errorOutput), c.code == 0 ? 0u : 1u) << exit.errorOutput;
    EXPECT_TRUE(contains(exit.errorOutput, c.mention)) << exit.errorOutput;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
  }
  EXPECT_TRUE(contains(dir.read("out.jsonl"), "onCreativeReceived"));
}

}  // namespace
}  // namespace lumora::testing
