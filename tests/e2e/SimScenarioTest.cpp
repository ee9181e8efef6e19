#include <filesystem>
#include <fstream>
#include <sstream>

#include "SimRun.hpp"

namespace lumora::testing {
namespace {

using nlohmann::json;

json at(double time, const std::string& action, json fields = json::object()) {
  fields["at"] = time;
  fields["action"] = action;
  return fields;
}

json initiate(double time, const std::string& appName = "E2E",
              std::optional<std::string> advertisingId = std::nullopt) {
  json profile = {{"appName", appName}};
  if (advertisingId) profile["advertisingId"] = *advertisingId;
  return at(time, "initiate", {{"environment", "stage"}, {"profile", profile}});
}

json detect(double time, std::int64_t bindingId) {
  return at(time, "detect",
            {{"companyId", 4660}, {"spaceId", "0a1b2c3d4e5f6071"}, {"bindingId", bindingId}});
}

class SimScenarioTest : public SimRun {};

TEST_F(SimScenarioTest, ShippedStoreVisitDemoDoesTheWholeJob) {
  const auto result =
      runFile(std::filesystem::path(LUMORA_EXAMPLES_DIR) / "store-visit" / "scenario.json");
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(callbackNames(result),
            (std::vector<std::string>{"onInitialized", "onCreativeReceived",
                                      "onNotificationClicked", "onError", "onCreativeReceived"}));
  const auto callbacks = ofKind(result, "callback");
  EXPECT_EQ(callbacks[3]["code"], 11);
  EXPECT_EQ(callbacks[1]["creative"]["bindingId"], 1234);
  EXPECT_EQ(ofKind(result, "notification").size(), 2u);
  const auto scans = ofKind(result, "scan");
  ASSERT_FALSE(scans.empty());
  EXPECT_EQ(scans.front()["action"], "start");
  EXPECT_EQ(scans.front()["allowDuplicates"], true);
  EXPECT_EQ(scans.back()["action"], "stop");
  EXPECT_EQ(logCount(result, "iBeacon timeout reached, stopped custom beacon scanning"), 1u);
  const auto defaults = result.records.back();
  EXPECT_EQ(defaults["kind"], "defaults");
  EXPECT_EQ(defaults["store"]["LumoraBeaconSDK.UUID"].get<std::string>().size(), 36u);
}

std::string textOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(SimScenarioTest, StoryTimelineAndPictureOfTheStoreVisit) {
  const auto scenario =
      std::filesystem::path(LUMORA_EXAMPLES_DIR) / "store-visit" / "scenario.json";
  const auto story = folder / "story.txt";
  const auto svg = folder / "visit.svg";
  auto exit = runSim({scenario.string(), "--svg", svg.string()}, {.standardOutput = story});
  ASSERT_EQ(exit.code, 0) << exit.errorOutput;
  const std::string text = textOf(story);
  EXPECT_LT(std::count(text.begin(), text.end(), '\n'), 60) << text;
  EXPECT_FALSE(contains(text, "Skipping duplicate")) << text;
  for (const char* line :
       {"     5.000s  gate          Entered iBeacon region: com.lumora.beacon.store-visit",
        "     5.000s  scan          start", "     6.000s  beacon        Processing beacon data",
        "    20.000s  action        tapNotification index=0", "    20.000s  server        POST",
        "    36.500s  callback      onError code=11", "  summary\n    creatives delivered  2",
        "    suppressed           1: frequency cap 1\n"}) {
    EXPECT_TRUE(contains(text, line)) << line << "\n" << text;
  }
  exit = runSim({scenario.string(), "--verbose"}, {.standardOutput = story});
  EXPECT_TRUE(contains(textOf(story), "Skipping duplicate beacon data"));

  // x = 270 + t * 940 / 150 for this 150-second run.
  const std::string picture = textOf(svg);
  for (const char* mark :
       {R"(data-lane="iBeacon region")", R"x(data-lane="custom scan (gate)")x",
        "data-lane=\"binding 1234 \u00b7 space 0a1b2c3d4e5f6071\"",
        "data-lane=\"binding 567 \u00b7 space f0e1d2c3b4a59687\"",
        R"(<rect class="region" x="301.3")", R"(<rect class="scan" x="301.3")",
        R"(<circle class="creative" cx="307.6")", R"(<circle class="tap" cx="395.3")",
        R"(<circle class="error" cx="498.7")", R"(<g class="legend")", R"(>150s</text>)"}) {
    EXPECT_TRUE(contains(picture, mark)) << mark;
  }
  const auto png = folder / "visit.png";
  const std::string convert = "rsvg-convert '" + svg.string() + "' -o '" + png.string() + "'";
  if (std::system("command -v rsvg-convert >/dev/null") != 0) {
    GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
  }
  ASSERT_EQ(std::system(convert.c_str()), 0);
  // The PNG header: width and height, big-endian, at bytes 16 and 20.
  const std::string image = textOf(png);
  ASSERT_GT(image.size(), 24u);
  const auto word = [&image](std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
      value = value << 8 | static_cast<std::uint8_t>(image[at + i]);
    return value;
  };
  EXPECT_EQ(image.substr(1, 3), "PNG");
  EXPECT_EQ(word(16), 1240u);
  EXPECT_EQ(word(20), 416u);  // nine lanes, the axis and the legend
}

TEST_F(SimScenarioTest, BareScenarioNameUnwritableOutputAndThePrivateCertificateFolder) {
  writePlist({});
  const json embedded = {{"config", "sdk.plist"},
                         {"server", "embedded"},
                         {"creatives", "creatives/"},
                         {"startTime", 1700000000.0},
                         {"initial", {{"notifications", "authorized"}}},
                         {"steps", {initiate(0), detect(1, 300)}},
                         {"until", 5}};
  std::ofstream(folder / "embedded.json") << embedded.dump();
  std::ofstream(folder / "broken.plist") << "not a property list";
  json broken = embedded;
  broken["config"] = "broken.plist";
  std::ofstream(folder / "broken.json") << broken.dump();
  std::string nested;
  for (int i = 0; i < 100000; ++i) nested += "<array>";
  std::ofstream(folder / "nested.plist") << "<plist>" << nested << "</plist>";
  broken["config"] = "nested.plist";
  std::ofstream(folder / "nested.json") << broken.dump();
  const auto temporary = folder / "tmp";
  std::filesystem::create_directories(temporary);
  const Process process{.workingDirectory = folder, .temporaryDirectory = temporary};
  const auto leftInTemporary = [&] {
    return std::distance(std::filesystem::directory_iterator(temporary),
                         std::filesystem::directory_iterator());
  };

  auto exit = runSim({"embedded.json", "--jsonl", "out.jsonl"}, process);
  ASSERT_EQ(exit.code, 0) << exit.errorOutput;
  EXPECT_TRUE(contains(textOf(folder / "out.jsonl"), "onCreativeReceived"));
  EXPECT_EQ(leftInTemporary(), 0);

  const auto expectOneLineFailure = [&](const Exit& failed, int code, const std::string& part) {
    EXPECT_EQ(failed.code, code) << failed.errorOutput;
    EXPECT_EQ(std::count(failed.errorOutput.begin(), failed.errorOutput.end(), '\n'), 1)
        << failed.errorOutput;
    EXPECT_TRUE(contains(failed.errorOutput, part)) << failed.errorOutput;
    EXPECT_EQ(leftInTemporary(), 0);
  };
  expectOneLineFailure(runSim({"embedded.json", "--jsonl", "/dev/full"}, process), 1,
                       "cannot write /dev/full");
  Process toFullDisk = process;
  toFullDisk.standardOutput = "/dev/full";
  expectOneLineFailure(runSim({"embedded.json"}, toFullDisk), 1,
                       "cannot write the timeline to standard output");
  expectOneLineFailure(runSim({"broken.json"}, process), 2, "property list");
  expectOneLineFailure(runSim({"nested.json"}, process), 2, "nested too deeply");
}

TEST_F(SimScenarioTest, CallsBeforeInitiateOnlyLogAndAFailedInitiateMayBeRepeated) {
  writePlist({.apiEndpoints = false});
  const auto result = run(scenario({at(0, "start"), at(0, "stop"), detect(0, 300), initiate(1),
                                    initiate(2), at(3, "start"), detect(4, 300), at(5, "probe")},
                                   10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(
      logCount(result, "LumoraAdBeaconSDK is not initialized, please call initiate method first"),
      3u);
  const auto callbacks = ofKind(result, "callback");
  ASSERT_EQ(callbacks.size(), 3u);
  for (int i : {0, 1}) {
    EXPECT_EQ(callbacks[i]["code"], 8);
    EXPECT_EQ(callbacks[i]["message"], "APIEndpoints section is missing in Info.plist");
  }
  // Scanning starts all the same; each detection then lacks the services.
  EXPECT_EQ(callbacks[2]["message"], "UserEventWebService is not initialized");
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], true);
  EXPECT_TRUE(server->events().empty());
}

TEST_F(SimScenarioTest, LifecycleGuardsAfterASuccessfulInitiate) {
  writePlist({});
  const auto result = run(scenario({initiate(0), initiate(1), at(2, "start"), at(3, "start"),
                                    at(4, "stop"), at(5, "stop"), at(6, "probe")},
                                   10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(callbackNames(result), std::vector<std::string>{"onInitialized"});
  EXPECT_EQ(logCount(result,
                     "LumoraAdBeaconSDK is already initialized. Environment can only be "
                     "set during initialization."),
            1u);
  EXPECT_EQ(logCount(result, "Beacon scanning started successfully"), 1u);
  EXPECT_EQ(logCount(result, "LumoraAdBeaconSDK is already running"), 1u);
  EXPECT_EQ(logCount(result, "LumoraAdBeaconSDK is not started"), 1u);
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], false);
}

TEST_F(SimScenarioTest, MissingBeaconSettingsOrLocationPermissionRefuseToStart) {
  writePlist({.beaconSettings = false});
  auto result = run(scenario({initiate(0), at(1, "start")}, 5));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(logCount(result,
                     "Failed to initialize BeaconManager: BeaconSettings section is "
                     "missing in sdk.plist"),
            1u);
  EXPECT_EQ(ofKind(result, "callback").at(1)["message"], "BeaconManager is not initialized");

  writePlist({});
  auto denied = scenario({initiate(0), at(1, "start"), at(2, "probe")}, 5);
  denied["initial"]["location"] = "denied";
  result = run(denied);
  const auto error = ofKind(result, "callback").at(1);
  EXPECT_EQ(error["code"], 1);
  EXPECT_EQ(logCount(result,
                     "Beacon scanning failed: Location permission not granted. Please "
                     "allow location access in settings."),
            1u);
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], false);
}

TEST_F(SimScenarioTest, PipelineFailuresReachTheHost) {
  writePlist({});
  const auto result =
      run(scenario({initiate(0), detect(1, 999), detect(2, 666),
                    at(3, "setNetwork", {{"reachable", false}}), detect(4, 300),
                    at(5, "setNetwork", {{"reachable", true}}), detect(6, 1234), detect(7, 1234)},
                   10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  const auto callbacks = ofKind(result, "callback");
  ASSERT_EQ(callbacks.size(), 6u);
  EXPECT_EQ(callbacks[1]["code"], 6);  // not found
  EXPECT_EQ(callbacks[2]["code"], 7);
  EXPECT_EQ(callbacks[2]["message"], "Invalid Creative data format");
  EXPECT_EQ(logCount(result, "missing campaign-ID from Creative API"), 1u);
  EXPECT_EQ(callbacks[3]["code"], 10);
  EXPECT_EQ(callbacks[3]["message"], "No internet connection available");
  EXPECT_EQ(callbacks[4]["name"], "onCreativeReceived");
  EXPECT_EQ(callbacks[5]["code"], 11);
  // Both detections of the capped creative were reported; only one was shown.
  EXPECT_EQ(eventsOfType("request").size(), 2u);
  EXPECT_EQ(eventsOfType("notification").size(), 1u);
  EXPECT_EQ(ofKind(result, "notification").size(), 1u);
}

TEST_F(SimScenarioTest, TapReportsAClickAndReachesTheHost) {
  writePlist({});
  const auto result =
      run(scenario({initiate(0), detect(1, 300), at(5, "tapNotification", {{"index", 0}})}, 10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(callbackNames(result), (std::vector<std::string>{"onInitialized", "onCreativeReceived",
                                                             "onNotificationClicked"}));
  const auto clicks = eventsOfType("click");
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["cid"], 12);
  EXPECT_EQ(clicks[0]["crid"], 345);
  for (const auto& event : server->events()) EXPECT_TRUE(event.valid) << event.body.dump();
}

TEST_F(SimScenarioTest, RefusedNotificationsAndUnreachableEventsAreReportedAfterDelivery) {
  writePlist({});
  auto refused = scenario({initiate(0), detect(1, 300)}, 5);
  refused["initial"]["notifications"] = "denied";
  auto result = run(refused);
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  auto callbacks = ofKind(result, "callback");
  ASSERT_EQ(callbacks.size(), 3u);
  EXPECT_EQ(callbacks[1]["name"], "onCreativeReceived");
  EXPECT_EQ(callbacks[2]["code"], 12);
  EXPECT_EQ(callbacks[2]["message"],
            "Failed to show notification: Notification permission not granted. Please allow "
            "notifications in settings.");

  writePlist({.unreachableEvents = true});
  result = run(scenario({initiate(0), detect(1, 300)}, 5));
  EXPECT_EQ(logCount(result, "Failed to send event for requesting creative data"), 1u);
  callbacks = ofKind(result, "callback");
  const auto failures = std::count_if(callbacks.begin(), callbacks.end(),
                                      [](const json& c) { return c.value("code", -1) == 12; });
  EXPECT_EQ(failures, 2);  // the request event and the notification event
}

TEST_F(SimScenarioTest, ProfileUpdatesBeforeAndAfterInitiate) {
  writePlist({});
  const auto result = run(scenario(
      {at(0, "updateProfile", {{"profile", {{"appName", "Early"}, {"advertisingId", "AD-0"}}}}),
       initiate(1, "Main"), detect(2, 300),
       at(5, "updateProfile", {{"profile", {{"appName", "Later"}, {"advertisingId", "AD-1"}}}}),
       detect(6, 300)},
      10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  std::vector<std::pair<std::string, std::string>> requests;
  for (const auto& event : server->events()) {
    if (event.body.value("eventType", "") != "request") continue;
    requests.emplace_back(event.path, event.body["clientInfo"]["appName"]);
  }
  EXPECT_EQ(requests,
            (std::vector<std::pair<std::string, std::string>>{
                {"/no-tracking/device_events", "Main"}, {"/tracking/device_events", "Later"}}));
  EXPECT_EQ(eventsOfType("request").back()["clientInfo"]["deviceId"], "AD-1");
}

TEST_F(SimScenarioTest, BluetoothOffWhenTheGateOpensIsRetriedOnLaterIBeacons) {
  writePlist({});
  auto off = scenario(
      {initiate(0), at(1, "start"),
       at(2, "ibeacon",
          {{"uuid", kIBeaconUuid}, {"major", 1}, {"minor", 2}, {"every", 1.0}, {"until", 20.0}}),
       at(10, "setBluetooth", {{"state", "poweredOn"}}),
       at(3, "advertise",
          {{"manufacturerData", "34120300012c0a1b2c3d4e5f60710000000000000000000000"},
           {"serviceUUIDs", {kServiceUuid}},
           {"every", 0.5},
           {"until", 20.0}})},
      30);
  off["initial"]["bluetooth"] = "poweredOff";
  const auto result = run(off);
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  const auto received = ofKind(result, "callback");
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[1]["name"], "onCreativeReceived");
  EXPECT_GE(received[1]["t"].get<double>(), 10.0);
  EXPECT_EQ(ofKind(result, "scan").at(0)["services"], json::array({kServiceUuid}));
}

TEST_F(SimScenarioTest, UnusableScenariosExitWithOneLine) {
  const auto expectUnusable = [&](const std::string& text, const std::string& mention) {
    const auto file = folder / "bad.json";
    std::ofstream(file) << text;
    const auto result = runFile(file);
    EXPECT_EQ(result.exitCode, 2) << text;
    EXPECT_EQ(std::count(result.errorOutput.begin(), result.errorOutput.end(), '\n'), 1)
        << result.errorOutput;
    EXPECT_NE(result.errorOutput.find(mention), std::string::npos) << result.errorOutput;
  };
  expectUnusable("{ not json", "bad.json");
  expectUnusable(R"({"steps":[{"at":0,"action":"dance"}],"until":1})", "dance");
  expectUnusable(R"({"steps":[{"at":0,"action":"detect","companyId":4660}],"until":1})", "spaceId");
  expectUnusable(R"({"config":"absent.plist","steps":[],"until":1})", "absent.plist");
  expectUnusable(R"({"steps":[{"at":0,"action":"probe","every":1e-9}],"until":1000})",
                 "at most 100000");
  expectUnusable(R"({"startTime":1e300,"steps":[],"until":1})", "clock");
  expectUnusable(R"({"until":1e999,"steps":[]})", "number overflow");
  expectUnusable(
      R"({"steps":[{"at":0,"action":"initiate","environment":"stage",
          "profile":{"appName":"line\nbreak"}}],"until":1})",
      "control characters");
  const auto missing = runFile(folder / "no-such-scenario.json");
  EXPECT_EQ(missing.exitCode, 2);
}

}  // namespace
}  // namespace lumora::testing
