#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "scenario/ScenarioError.hpp"
#include "scenario/ScenarioReader.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;
using testing::TemporaryDirectory;

/// Every field and every action of the scenario format.
const json kFullScenario = json::parse(R"({
  "config": "sdk.plist", "caFile": "ca.pem", "server": "embedded", "creatives": "creatives/",
  "startTime": 1700000000.0,
  "device": {"machine": "arm64", "systemName": "Demo OS", "systemVersion": "14.2"},
  "advertising": {"trackingAuthorized": true, "identifier": "AD-ID"},
  "userDefaults": {"LumoraBeaconSDK.UUID": "5B0E6A3C-9F1D-4C2B-8E7A-0D1C2B3A4F5E"},
  "initial": {"location": "authorizedAlways", "bluetooth": "poweredOff",
              "notifications": "provisional", "network": false},
  "steps": [
    {"at": 0, "action": "initiate", "environment": "production",
     "profile": {"phoneNumber": "+15550100", "email": "a@example.com", "appName": "Demo",
                 "advertisingId": "00000000-0000-0000-0000-000000000001"}},
    {"at": 1, "action": "start"},
    {"at": 2, "action": "ibeacon", "uuid": "3f1c2a9e-7b4d-4e8a-9c61-5d2e8f0a7b13", "major": 1,
     "minor": 65535, "every": 0.5, "until": 3.25},
    {"at": 2.5, "action": "advertise", "manufacturerData": "34121A2b",
     "serviceUUIDs": ["6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60"], "every": 30},
    {"at": 4, "action": "detect", "companyId": 4660, "spaceId": "0a1b2c3d4e5f6071",
     "bindingId": -12},
    {"at": 5, "action": "setLocation", "status": "authorizedWhenInUse"},
    {"at": 6, "action": "setBluetooth", "state": "unauthorized"},
    {"at": 7, "action": "setNotifications", "status": "ephemeral"},
    {"at": 8, "action": "setNetwork", "reachable": true},
    {"at": 9, "action": "tapNotification", "index": 2},
    {"at": 10, "action": "tapNotification"},
    {"at": 11, "action": "probe"},
    {"at": 12, "action": "updateProfile", "profile": {"appName": "Other", "email": null}},
    {"at": 13, "action": "clearPersistedData"},
    {"at": 100, "action": "stop"}],
  "until": 100})");

class ScenarioReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("sdk.plist", "<plist/>");
    dir.write("ca.pem", "pem");
    dir.write("creatives/bucket/binding/1/ios.json", "{}");
  }

  /// The one-line message for a scenario file, with the file name removed.
  static std::string errorReading(const std::filesystem::path& file) {
    try {
      ScenarioReader::read(file);
    } catch (const ScenarioError& error) {
      const std::string message = error.what();
      EXPECT_EQ(message.find('\n'), std::string::npos);
      EXPECT_EQ(message.rfind(file.string() + ": ", 0), 0u) << message;
      return message.substr(file.string().size() + 2);
    }
    return "accepted";
  }

  TemporaryDirectory dir;
};

template <typename Action>
const Action& actionOf(const Scenario& scenario, std::size_t index) {
  return std::get<Action>(scenario.steps.at(index).action);
}

// What the lumora-sim runs do not show: the fields they leave at their
// defaults and the repeat times.
TEST_F(ScenarioReaderTest, ReadsTheFieldsAndActionsOfTheFullFormat) {
  const Scenario s = ScenarioReader::read(dir.write("scenario.json", kFullScenario.dump()));
  EXPECT_EQ(s.caFile, dir.path() / "ca.pem");
  EXPECT_EQ(s.startTime, 1700000000.0);
  EXPECT_EQ(s.device.machine + "/" + s.device.systemName + "/" + s.device.systemVersion,
            "arm64/Demo OS/14.2");
  EXPECT_TRUE(s.advertising.trackingAuthorized);
  EXPECT_EQ(s.advertising.identifier, "AD-ID");
  EXPECT_EQ(s.userDefaults.at("LumoraBeaconSDK.UUID"), "5B0E6A3C-9F1D-4C2B-8E7A-0D1C2B3A4F5E");
  EXPECT_FALSE(s.initial.network);
  ASSERT_EQ(s.steps.size(), 15u);
  const auto& initiate = actionOf<InitiateAction>(s, 0);
  EXPECT_EQ(initiate.environment, Environment::production);
  EXPECT_EQ(initiate.profile.phoneNumber, "+15550100");
  EXPECT_EQ(initiate.profile.email, "a@example.com");
  const auto& ibeacon = actionOf<IBeaconAction>(s, 2);
  EXPECT_EQ(std::make_pair(ibeacon.major, ibeacon.minor),
            std::make_pair(std::int64_t{1}, std::int64_t{65535}));
  EXPECT_EQ(s.steps[2].times(), (std::vector<double>{2, 2.5, 3}));
  EXPECT_EQ(actionOf<AdvertiseAction>(s, 3).manufacturerData,
            (std::vector<std::uint8_t>{0x34, 0x12, 0x1a, 0x2b}));
  EXPECT_EQ(s.steps[3].times(), (std::vector<double>{2.5, 32.5, 62.5, 92.5}))
      << "a repeat without until runs to the scenario's end";
  EXPECT_EQ(actionOf<DetectAction>(s, 4).bindingId, -12);
  EXPECT_EQ(actionOf<TapNotificationAction>(s, 9).index, 2);
  EXPECT_EQ(actionOf<TapNotificationAction>(s, 10).index, 0);
  const auto& update = actionOf<UpdateProfileAction>(s, 12);
  EXPECT_EQ(update.profile.appName, "Other");
  EXPECT_FALSE(update.profile.email.has_value());
  EXPECT_TRUE(std::holds_alternative<ClearPersistedDataAction>(s.steps[13].action));

  // Repeats include their until and do not drift.
  ScenarioStep step;
  step.every = 0.1;
  step.until = 100;
  const std::vector<double> times = step.times();
  ASSERT_EQ(times.size(), 1001u);
  EXPECT_DOUBLE_EQ(times.back(), 100.0);
  EXPECT_DOUBLE_EQ(times[500], 50.0);

  // Relative paths follow the scenario file, not the working directory.
  dir.write("nested/sdk.plist", "<plist/>");
  const std::filesystem::path file =
      dir.write("nested/s.json", R"({"config": "sdk.plist", "steps": [], "until": 1})");
  EXPECT_EQ(ScenarioReader::read(file).config, dir.path() / "nested" / "sdk.plist");
  // A bare file name is in the working directory.
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(dir.path() / "nested");
  const Scenario bare = ScenarioReader::read("s.json");
  std::filesystem::current_path(previous);
  EXPECT_EQ(bare.config, dir.path() / "nested" / "sdk.plist");
  EXPECT_EQ(bare.file, dir.path() / "nested" / "s.json");
}

// Each row replaces (or, with null, removes) the value at one place of the full scenario;
// one row per kind of check.
TEST_F(ScenarioReaderTest, RejectsEachKindOfBadInputWithOneClearLine) {
  const struct {
    const char* where;
    json value;
    std::string message;
  } cases[] = {
      {"", json::array(), "the scenario must be a JSON object"},
      {"/until", "120", "\"until\" must be a number of seconds, got \"120\""},
      {"/config", "missing.plist",
       "\"config\" names DIR/missing.plist, which is not a readable file"},
      {"/creatives", nullptr, "\"creatives\" is missing"},
      {"/server", nullptr, "\"creatives\" only goes with \"server\": \"embedded\""},
      {"/initial/location", "always",
       "initial: \"location\" must be a location status (notDetermined, restricted, denied, "
       "authorizedAlways, authorizedWhenInUse), got \"always\""},
      {"/steps/1/action", "jump",
       "steps[1]: unknown action \"jump\" (one of initiate, start, stop, updateProfile, "
       "clearPersistedData, detect, ibeacon, advertise, setLocation, setBluetooth, "
       "setNotifications, setNetwork, tapNotification, probe)"},
      {"/steps/1/at", 101, "steps[1] (start): \"at\" is after the scenario's \"until\" (100)"},
      {"/steps/0/profile/appName", nullptr, "steps[0] (initiate): profile: \"appName\" is missing"},
      {"/steps/0/profile/appName", "Demo\nApp",
       "steps[0] (initiate): profile: \"appName\" must not hold control characters, got "
       "\"Demo\\nApp\""},
      {"/steps/2/major", 65536, "steps[2] (ibeacon): \"major\" must be from 0 to 65535, got 65536"},
      {"/steps/3/manufacturerData", "3412z0",
       "steps[3] (advertise): \"manufacturerData\" must be hexadecimal bytes such as "
       "\"4c000215\", got \"3412z0\""},
      {"/steps/3/manufacturerData", std::string(512, 'a'),
       "steps[3] (advertise): \"manufacturerData\" must be at most 255 bytes, got 256"},
      {"/line\nbreak", 1, "\"line\\nbreak\" is not a known field"},
      {"/steps/2/every", 1.0 / 131072,
       "steps[2] brings the run to 163843 actions; a scenario holds at most 100000 (a longer "
       "\"every\" or a shorter \"until\" keeps it within)"},
      {"/startTime", 1e10,
       "\"startTime\" is beyond what the clock can hold (9223372036 seconds since 1970)"},
  };
  for (const auto& c : cases) {
    json scenario = kFullScenario;
    const json::json_pointer where(c.where);
    if (c.value.is_null()) {
      scenario[where.parent_pointer()].erase(where.back());
    } else {
      scenario[where] = c.value;
    }
    std::string message = errorReading(dir.write("scenario.json", scenario.dump()));
    if (const auto at = message.find(dir.path().string()); at != std::string::npos) {
      message.replace(at, dir.path().string().size(), "DIR");
    }
    EXPECT_EQ(message, c.message);
  }
  EXPECT_EQ(errorReading(dir.write("infinite.json", R"({"steps":[],"until":1e999})")),
            "not valid JSON: number overflow parsing '1e999'");
  EXPECT_EQ(errorReading(dir.path() / "absent.json"), "cannot read the scenario file");
}

}  // namespace
}  // namespace lumora::tools
