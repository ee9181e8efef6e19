#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "SimRun.hpp"

namespace lumora::testing {
namespace {

using nlohmann::json;

const std::filesystem::path kStoreVisit =
    std::filesystem::path(LUMORA_EXAMPLES_DIR) / "store-visit" / "scenario.json";
constexpr const char* kGateClosed = "iBeacon timeout reached, stopped custom beacon scanning";
constexpr const char* kNotInitialized =
    "LumoraAdBeaconSDK is not initialized, please call initiate method first";

json at(double time, const std::string& action, json fields = json::object()) {
  fields["at"] = time;
  fields["action"] = action;
  return fields;
}

json initiate(double time, const std::string& appName = "E2E") {
  return at(time, "initiate", {{"environment", "stage"}, {"profile", {{"appName", appName}}}});
}

json detect(double time, std::int64_t bindingId) {
  return at(time, "detect",
            {{"companyId", 4660}, {"spaceId", "0a1b2c3d4e5f6071"}, {"bindingId", bindingId}});
}

json updateProfile(double time, const std::string& appName, const std::string& advertisingId) {
  return at(time, "updateProfile",
            {{"profile", {{"appName", appName}, {"advertisingId", advertisingId}}}});
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::size_t lineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

/// When the scenario puts its last iBeacon on the air.
double lastIBeacon(const json& scenario) {
  double last = -1;
  for (const auto& step : scenario["steps"]) {
    if (step["action"] != "ibeacon") continue;
    const double from = step["at"], every = step["every"], until = step["until"];
    last = std::max(last, from + std::floor((until - from) / every) * every);
  }
  return last;
}

class SimScenarioTest : public SimRun {};

// The shipped demo, run as shipped: the whole job, the gate closing 10 to 11 s
// after the last iBeacon on the air, its story and the picture of the run.
TEST_F(SimScenarioTest, ShippedStoreVisitDemoDoesTheWholeJobAndClosesTheGateOnTime) {
  const auto svg = folder / "visit.svg", story = folder / "story.txt";
  const auto result = runFile(kStoreVisit, {"--svg", svg.string()}, {});
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
  const auto defaults = result.records.back();
  EXPECT_EQ(defaults["kind"], "defaults");
  EXPECT_EQ(defaults["store"]["LumoraBeaconSDK.UUID"].get<std::string>().size(), 36u);

  // Without --jsonl it tells the story; --verbose prints every line.
  ASSERT_EQ(runSim({kStoreVisit.string()}, {.standardOutput = story}).code, 0);
  const std::string text = readText(story);
  EXPECT_LT(lineCount(text), 60u) << text;
  EXPECT_FALSE(contains(text, "Skipping duplicate")) << text;
  for (const char* line :
       {"     5.000s  gate          Entered iBeacon region: com.lumora.beacon.store-visit",
        "     5.000s  scan          start", "     6.000s  beacon        Processing beacon data",
        "    20.000s  action        tapNotification index=0", "    20.000s  server        POST",
        "    36.500s  callback      onError code=11", "  summary\n    creatives delivered  2",
        "    suppressed           1: frequency cap 1\n"}) {
    EXPECT_TRUE(contains(text, line)) << line << "\n" << text;
  }
  runSim({kStoreVisit.string(), "--verbose"}, {.standardOutput = story});
  EXPECT_TRUE(contains(readText(story), "Skipping duplicate beacon data"));

  const double lastOnAir = lastIBeacon(json::parse(std::ifstream(kStoreVisit)));
  ASSERT_GE(lastOnAir, 0.0);
  std::optional<double> stop;
  for (const auto& scan : scans) {
    if (scan["action"] == "stop" && scan["t"].get<double>() > lastOnAir) {
      stop = scan["t"].get<double>();
      break;
    }
  }
  ASSERT_TRUE(stop.has_value());
  EXPECT_GE(*stop - lastOnAir, 10.0);
  EXPECT_LE(*stop - lastOnAir, 11.0);
  EXPECT_EQ(logTimes(result, kGateClosed), std::vector<double>{*stop});

  // x = 270 + t * 940 / 150 for this 150-second run.
  const std::string picture = readText(svg);
  for (const char* mark :
       {R"(data-lane="iBeacon region")", R"x(data-lane="custom scan (gate)")x",
        "data-lane=\"binding 1234 \u00b7 space 0a1b2c3d4e5f6071\"",
        "data-lane=\"binding 567 \u00b7 space f0e1d2c3b4a59687\"",
        R"(<rect class="region" x="301.3")", R"(<rect class="scan" x="301.3")",
        R"(<circle class="creative" cx="307.6")", R"(<circle class="tap" cx="395.3")",
        R"(<circle class="error" cx="498.7")", R"(<g class="legend")", R"(>150s</text>)"}) {
    EXPECT_TRUE(contains(picture, mark)) << mark;
  }
  if (std::system("command -v rsvg-convert >/dev/null") != 0) {
    GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
  }
  const auto png = folder / "visit.png";
  ASSERT_EQ(std::system(("rsvg-convert '" + svg.string() + "' -o '" + png.string() + "'").c_str()),
            0);
  // The PNG header: width and height, big-endian, at bytes 16 and 20.
  const std::string image = readText(png);
  ASSERT_GT(image.size(), 24u);
  const auto word = [&image](std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
      value = value << 8 | static_cast<std::uint8_t>(image[offset + i]);
    return value;
  };
  EXPECT_EQ(image.substr(1, 3), "PNG");
  EXPECT_EQ(word(16), 1240u);
  EXPECT_EQ(word(20), 416u);  // nine lanes, the axis and the legend
}

// One visit through the facade's guards, the pipeline's failures, a tap, the
// profile choosing the endpoint, and a refused notification.
TEST_F(SimScenarioTest, OneVisitShowsGuardsFailuresTapsProfilesAndRefusals) {
  writePlist({});
  const auto result = run(scenario({updateProfile(0, "Early", "AD-0"),
                                    initiate(1, "Main"),
                                    initiate(1.5),
                                    at(2, "start"),
                                    at(2.5, "start"),
                                    detect(3, 300),
                                    at(5, "tapNotification", {{"index", 0}}),
                                    detect(5.5, 999),
                                    detect(6, 666),
                                    at(7, "setNetwork", {{"reachable", false}}),
                                    detect(8, 300),
                                    at(9, "setNetwork", {{"reachable", true}}),
                                    updateProfile(10, "Later", "AD-1"),
                                    detect(11, 1234),
                                    detect(12, 1234),
                                    at(13, "setNotifications", {{"status", "denied"}}),
                                    detect(14, 300),
                                    at(15, "stop"),
                                    at(15.5, "stop"),
                                    at(16, "probe")},
                                   20));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(
      callbackNames(result),
      (std::vector<std::string>{"onInitialized", "onCreativeReceived", "onNotificationClicked",
                                "onError", "onError", "onError", "onCreativeReceived", "onError",
                                "onCreativeReceived", "onError"}));
  const auto callbacks = ofKind(result, "callback");
  EXPECT_EQ(callbacks[3]["code"], 6);  // not found
  EXPECT_EQ(callbacks[4]["code"], 7);
  EXPECT_EQ(callbacks[4]["message"], "Invalid Creative data format");
  EXPECT_EQ(logCount(result, "missing campaign-ID from Creative API"), 1u);
  EXPECT_EQ(callbacks[5]["code"], 10);
  EXPECT_EQ(callbacks[5]["message"], "No internet connection available");
  EXPECT_EQ(callbacks[7]["code"], 11);
  EXPECT_EQ(callbacks[9]["code"], 12);
  EXPECT_EQ(callbacks[9]["message"],
            "Failed to show notification: Notification permission not granted. Please allow "
            "notifications in settings.");
  for (const char* line :
       {"LumoraAdBeaconSDK is already initialized. Environment can only be set during "
        "initialization.",
        "Beacon scanning started successfully", "LumoraAdBeaconSDK is already running",
        "LumoraAdBeaconSDK is not started"}) {
    EXPECT_EQ(logCount(result, line), 1u) << line;
  }
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], false);

  // Every detection that fetched a creative was reported, the capped one too;
  // the profile given before initiate was ignored, the later one chose tracking.
  std::vector<std::pair<std::string, std::string>> requests;
  for (const auto& event : server->events()) {
    EXPECT_TRUE(event.valid) << event.body.dump();
    if (event.body.value("eventType", "") == "request") {
      requests.emplace_back(event.path, event.body["clientInfo"]["appName"]);
    }
  }
  EXPECT_EQ(requests, (std::vector<std::pair<std::string, std::string>>{
                          {"/no-tracking/device_events", "Main"},
                          {"/tracking/device_events", "Later"},
                          {"/tracking/device_events", "Later"},
                          {"/tracking/device_events", "Later"}}));
  EXPECT_EQ(eventsOfType("request").back()["clientInfo"]["deviceId"], "AD-1");
  EXPECT_EQ(eventsOfType("notification").size(), 2u);
  EXPECT_EQ(ofKind(result, "notification").size(), 2u);
  const auto clicks = eventsOfType("click");
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["cid"], 12);
  EXPECT_EQ(clicks[0]["crid"], 345);
}

TEST_F(SimScenarioTest, CallsBeforeInitiateOnlyLogAndAFailedInitiateMayBeRepeated) {
  writePlist({.apiEndpoints = false});
  const auto result = run(scenario({at(0, "start"), at(0, "stop"), detect(0, 300), initiate(1),
                                    initiate(2), at(3, "start"), detect(4, 300), at(5, "probe")},
                                   10));
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  EXPECT_EQ(logCount(result, kNotInitialized), 3u);
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

TEST_F(SimScenarioTest, MissingSettingsDeniedLocationAndUnreachableEventsAreReported) {
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
  EXPECT_EQ(ofKind(result, "callback").at(1)["code"], 1);
  EXPECT_EQ(logCount(result,
                     "Beacon scanning failed: Location permission not granted. Please "
                     "allow location access in settings."),
            1u);
  EXPECT_EQ(ofKind(result, "state").at(0)["isScanning"], false);

  writePlist({.unreachableEvents = true});
  result = run(scenario({initiate(0), detect(1, 300)}, 5));
  EXPECT_EQ(logCount(result, "Failed to send event for requesting creative data"), 1u);
  const auto callbacks = ofKind(result, "callback");
  const auto failures = std::count_if(callbacks.begin(), callbacks.end(),
                                      [](const json& c) { return c.value("code", -1) == 12; });
  EXPECT_EQ(failures, 2);  // the request event and the notification event
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

// A bare scenario name, unwritable outputs, unusable scenarios and hostile
// property lists: each failure is one line with its exit status, and the
// private certificate folder never stays behind in TMPDIR.
TEST_F(SimScenarioTest, FailuresAreOneLineAndLeaveNothingInTheTemporaryFolder) {
  writePlist({});
  json embedded = scenario({initiate(0), detect(1, 300)}, 5);
  embedded.erase("caFile");
  embedded["server"] = "embedded";
  embedded["creatives"] = "creatives/";
  std::string nested;
  for (int i = 0; i < 100000; ++i) nested += "<array>";
  for (const auto& [name, text] : std::vector<std::pair<std::string, std::string>>{
           {"embedded.json", embedded.dump()},
           {"broken.plist", "not a property list"},
           {"nested.plist", "<plist>" + nested + "</plist>"},
           {"notjson.json", "{ not json"},
           {"dance.json", R"({"steps":[{"at":0,"action":"dance"}],"until":1})"}}) {
    std::ofstream(folder / name) << text;
  }
  for (const std::string config : {"broken", "nested"}) {
    embedded["config"] = config + ".plist";
    std::ofstream(folder / (config + ".json")) << embedded.dump();
  }
  const auto temporary = folder / "tmp";
  std::filesystem::create_directories(temporary);
  const Process process{.workingDirectory = folder, .temporaryDirectory = temporary};
  const auto leftInTemporary = [&] {
    return std::distance(std::filesystem::directory_iterator(temporary),
                         std::filesystem::directory_iterator());
  };

  auto exit = runSim({"embedded.json", "--jsonl", "out.jsonl"}, process);
  ASSERT_EQ(exit.code, 0) << exit.errorOutput;
  EXPECT_TRUE(contains(readText(folder / "out.jsonl"), "onCreativeReceived"));
  EXPECT_EQ(leftInTemporary(), 0);

  Process toFullDisk = process;
  toFullDisk.standardOutput = "/dev/full";
  const struct {
    std::vector<std::string> arguments;
    Process process;
    int code;
    const char* mention;
  } cases[] = {
      {{"embedded.json", "--jsonl", "/dev/full"}, process, 1, "cannot write /dev/full"},
      {{"embedded.json"}, toFullDisk, 1, "cannot write the timeline to standard output"},
      {{"broken.json"}, process, 2, "property list"},
      {{"nested.json"}, process, 2, "nested too deeply"},
      {{"notjson.json"}, process, 2, "notjson.json"},
      {{"dance.json"}, process, 2, "dance"},
      {{"no-such-scenario.json"}, process, 2, "no-such-scenario.json"},
  };
  for (const auto& c : cases) {
    const auto failed = runSim(c.arguments, c.process);
    EXPECT_EQ(failed.code, c.code) << failed.errorOutput;
    EXPECT_EQ(lineCount(failed.errorOutput), 1u) << failed.errorOutput;
    EXPECT_TRUE(contains(failed.errorOutput, c.mention)) << failed.errorOutput;
    EXPECT_EQ(leftInTemporary(), 0);
  }
}

}  // namespace
}  // namespace lumora::testing
