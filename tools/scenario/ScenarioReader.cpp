#include "scenario/ScenarioReader.hpp"

#include <array>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "core/util/Uuid.hpp"
#include "platform/Clock.hpp"
#include "scenario/JsonObjectReader.hpp"
#include "scenario/ScenarioError.hpp"
#include "scenario/StatusNames.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;

constexpr std::int64_t kMaxBeaconNumber = 65535;
// Bounds that keep a run's memory and time in proportion to what a scenario
// can mean: the file, one advertisement, and every action the run schedules.
constexpr std::uintmax_t kMaxFileBytes = 4 * 1024 * 1024;
constexpr std::size_t kMaxAdvertisementBytes = 255;
constexpr double kMaxActions = 100000;

/// The last second since 1970 the virtual clock can hold.
double clockLimitSeconds() {
  using std::chrono::duration_cast;
  return static_cast<double>(
      duration_cast<std::chrono::seconds>(platform::TimePoint::max().time_since_epoch()).count());
}

double nowSeconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

enum class PathKind { file, directory };

std::filesystem::path existingPath(const JsonObjectReader& reader, std::string_view key,
                                   const std::filesystem::path& base, PathKind kind) {
  const std::string text = reader.string(key);
  if (text.empty()) {
    reader.fail(key, "must not be empty");
  }
  const std::filesystem::path path = (base / text).lexically_normal();
  std::error_code error;
  if (kind == PathKind::file && !std::filesystem::is_regular_file(path, error)) {
    reader.fail(key, "names " + path.string() + ", which is not a readable file");
  }
  if (kind == PathKind::directory && !std::filesystem::is_directory(path, error)) {
    reader.fail(key, "names " + path.string() + ", which is not a directory");
  }
  return path;
}

std::int64_t status(const JsonObjectReader& reader, std::string_view key, StatusNames::Kind kind) {
  const std::string name = reader.string(key);
  const auto raw = StatusNames::rawValue(kind, name);
  if (!raw) {
    reader.fail(key, "must be a " + std::string(StatusNames::kindName(kind)) + " status (" +
                         StatusNames::allNames(kind) + "), got \"" + name + "\"");
  }
  return *raw;
}

std::int64_t integerInRange(const JsonObjectReader& reader, std::string_view key,
                            std::int64_t lowest, std::int64_t highest) {
  const std::int64_t value = reader.integer(key);
  if (value < lowest || value > highest) {
    reader.fail(key, "must be from " + std::to_string(lowest) + " to " + std::to_string(highest) +
                         ", got " + std::to_string(value));
  }
  return value;
}

std::vector<std::uint8_t> hexBytes(const JsonObjectReader& reader, std::string_view key) {
  const std::string text = reader.string(key);
  const auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const int high = nibble(text[i]);
    const int low = nibble(text[i + 1]);
    if (high < 0 || low < 0) {
      break;
    }
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  if (bytes.size() * 2 != text.size()) {
    reader.fail(key, "must be hexadecimal bytes such as \"4c000215\", got \"" + text + "\"");
  }
  if (bytes.size() > kMaxAdvertisementBytes) {
    reader.fail(key, "must be at most " + std::to_string(kMaxAdvertisementBytes) + " bytes, got " +
                         std::to_string(bytes.size()));
  }
  return bytes;
}

ScenarioProfile profile(const JsonObjectReader& step) {
  const JsonObjectReader reader(step.object("profile"), step.where() + ": profile");
  reader.allowOnly({"phoneNumber", "email", "appName", "advertisingId"});
  return {reader.optionalString("phoneNumber"), reader.optionalString("email"),
          reader.string("appName"), reader.optionalString("advertisingId")};
}

// One parser per action; each also names the fields its action takes.

ScenarioAction initiate(const JsonObjectReader& step) {
  step.allowOnly({"environment", "profile"});
  const std::string environment = step.string("environment");
  if (environment != "stage" && environment != "production") {
    step.fail("environment", "must be \"stage\" or \"production\", got \"" + environment + "\"");
  }
  return InitiateAction{environment == "stage" ? Environment::stage : Environment::production,
                        profile(step)};
}

template <typename Action>
ScenarioAction withoutFields(const JsonObjectReader& step) {
  step.allowOnly({});
  return Action{};
}

ScenarioAction updateProfile(const JsonObjectReader& step) {
  step.allowOnly({"profile"});
  return UpdateProfileAction{profile(step)};
}

ScenarioAction detect(const JsonObjectReader& step) {
  step.allowOnly({"companyId", "spaceId", "bindingId"});
  return DetectAction{step.integer("companyId"), step.string("spaceId"), step.integer("bindingId")};
}

ScenarioAction ibeacon(const JsonObjectReader& step) {
  step.allowOnly({"uuid", "major", "minor"});
  const std::string uuid = step.string("uuid");
  if (!Uuid::parse(uuid)) {
    step.fail("uuid", "must be UUID text, got \"" + uuid + "\"");
  }
  return IBeaconAction{uuid, integerInRange(step, "major", 0, kMaxBeaconNumber),
                       integerInRange(step, "minor", 0, kMaxBeaconNumber)};
}

ScenarioAction advertise(const JsonObjectReader& step) {
  step.allowOnly({"manufacturerData", "serviceUUIDs"});
  AdvertiseAction action;
  if (step.has("manufacturerData")) {
    action.manufacturerData = hexBytes(step, "manufacturerData");
  }
  if (step.has("serviceUUIDs")) {
    for (const json& service : step.array("serviceUUIDs")) {
      if (!service.is_string()) {
        step.fail("serviceUUIDs", "must hold strings only, got " + service.dump());
      }
      action.serviceUUIDs.push_back(service.get<std::string>());
    }
  }
  return action;
}

ScenarioAction setLocation(const JsonObjectReader& step) {
  step.allowOnly({"status"});
  return SetLocationAction{status(step, "status", StatusNames::Kind::location)};
}

ScenarioAction setBluetooth(const JsonObjectReader& step) {
  step.allowOnly({"state"});
  return SetBluetoothAction{status(step, "state", StatusNames::Kind::bluetooth)};
}

ScenarioAction setNotifications(const JsonObjectReader& step) {
  step.allowOnly({"status"});
  return SetNotificationsAction{status(step, "status", StatusNames::Kind::notifications)};
}

ScenarioAction setNetwork(const JsonObjectReader& step) {
  step.allowOnly({"reachable"});
  return SetNetworkAction{step.boolean("reachable")};
}

ScenarioAction tapNotification(const JsonObjectReader& step) {
  step.allowOnly({"index"});
  return TapNotificationAction{
      step.has("index") ? integerInRange(step, "index", 0, std::numeric_limits<std::int64_t>::max())
                        : 0};
}

struct ActionParser {
  std::string_view name;
  ScenarioAction (*parse)(const JsonObjectReader& step);
};

constexpr std::array<ActionParser, 14> kActions = {{
    {InitiateAction::kName, initiate},
    {StartAction::kName, withoutFields<StartAction>},
    {StopAction::kName, withoutFields<StopAction>},
    {UpdateProfileAction::kName, updateProfile},
    {ClearPersistedDataAction::kName, withoutFields<ClearPersistedDataAction>},
    {DetectAction::kName, detect},
    {IBeaconAction::kName, ibeacon},
    {AdvertiseAction::kName, advertise},
    {SetLocationAction::kName, setLocation},
    {SetBluetoothAction::kName, setBluetooth},
    {SetNotificationsAction::kName, setNotifications},
    {SetNetworkAction::kName, setNetwork},
    {TapNotificationAction::kName, tapNotification},
    {ProbeAction::kName, withoutFields<ProbeAction>},
}};

const ActionParser& actionParser(const JsonObjectReader& step) {
  const std::string name = step.string("action");
  for (const ActionParser& parser : kActions) {
    if (parser.name == name) {
      return parser;
    }
  }
  std::string known;
  for (const ActionParser& parser : kActions) {
    known += (known.empty() ? "" : ", ") + std::string(parser.name);
  }
  step.failHere("unknown action \"" + name + "\" (one of " + known + ")");
}

/// 120 as "120", 0.25 as "0.25", 1000001 as "1000001".
std::string seconds(double value) {
  constexpr int kDigits = 15;
  std::ostringstream text;
  text << std::setprecision(kDigits) << value;
  return text.str();
}

/// The fields every step may have besides its action's own.
void readTiming(const JsonObjectReader& reader, double scenarioUntil, ScenarioStep& step) {
  step.at = reader.seconds("at");
  if (step.at > scenarioUntil) {
    reader.fail("at", "is after the scenario's \"until\" (" + seconds(scenarioUntil) + ")");
  }
  step.every = reader.optionalSeconds("every");
  if (step.every && *step.every <= 0) {
    reader.fail("every", "must be more than zero");
  }
  if (reader.has("until") && !step.every) {
    reader.fail("until", "only goes with \"every\"");
  }
  step.until = reader.optionalSeconds("until").value_or(step.every ? scenarioUntil : step.at);
  if (step.until < step.at) {
    reader.fail("until", "must not be before \"at\"");
  }
  if (step.until > scenarioUntil) {
    reader.fail("until", "is after the scenario's \"until\" (" + seconds(scenarioUntil) + ")");
  }
}

ScenarioStep readStep(const json& value, std::size_t index, double scenarioUntil) {
  const std::string where = "steps[" + std::to_string(index) + "]";
  const ActionParser& parser = actionParser(JsonObjectReader(value, where));
  const JsonObjectReader reader(value, where + " (" + std::string(parser.name) + ")");
  ScenarioStep step;
  readTiming(reader, scenarioUntil, step);
  json actionFields = value;
  for (const char* common : {"at", "action", "every", "until"}) {
    actionFields.erase(common);
  }
  step.action = parser.parse(JsonObjectReader(actionFields, reader.where()));
  step.description = std::string(parser.name);
  for (const auto& [key, field] : value.items()) {
    if (key != "at" && key != "action") step.description += " " + key + "=" + field.dump();
  }
  return step;
}

void readDevice(const JsonObjectReader& top, ScenarioDevice& device) {
  const JsonObjectReader reader(top.object("device"), "device");
  reader.allowOnly({"machine", "systemName", "systemVersion"});
  device.machine = reader.optionalString("machine").value_or(device.machine);
  device.systemName = reader.optionalString("systemName").value_or(device.systemName);
  device.systemVersion = reader.optionalString("systemVersion").value_or(device.systemVersion);
}

void readAdvertising(const JsonObjectReader& top, ScenarioAdvertising& advertising) {
  const JsonObjectReader reader(top.object("advertising"), "advertising");
  reader.allowOnly({"trackingAuthorized", "identifier"});
  advertising.trackingAuthorized = reader.optionalBool("trackingAuthorized").value_or(false);
  advertising.identifier = reader.optionalString("identifier");
}

void readUserDefaults(const JsonObjectReader& top, std::map<std::string, std::string>& store) {
  const json& object = top.object("userDefaults");
  const JsonObjectReader reader(object, "userDefaults");
  for (const auto& [key, value] : object.items()) {
    reader.checkText(key, key);
    store[key] = reader.string(key);
  }
}

void readInitial(const JsonObjectReader& top, ScenarioInitial& initial) {
  const JsonObjectReader reader(top.object("initial"), "initial");
  reader.allowOnly({"location", "bluetooth", "notifications", "network"});
  if (reader.has("location")) {
    initial.location = status(reader, "location", StatusNames::Kind::location);
  }
  if (reader.has("bluetooth")) {
    initial.bluetooth = status(reader, "bluetooth", StatusNames::Kind::bluetooth);
  }
  if (reader.has("notifications")) {
    initial.notifications = status(reader, "notifications", StatusNames::Kind::notifications);
  }
  initial.network = reader.optionalBool("network").value_or(true);
}

void readServer(const JsonObjectReader& top, const std::filesystem::path& base,
                Scenario& scenario) {
  if (top.has("server")) {
    const std::string server = top.string("server");
    if (server != "embedded") {
      top.fail("server", "must be \"embedded\" (or left out), got \"" + server + "\"");
    }
    scenario.embeddedServer = true;
    scenario.creatives = existingPath(top, "creatives", base, PathKind::directory);
  } else if (top.has("creatives")) {
    top.fail("creatives", "only goes with \"server\": \"embedded\"");
  }
}

/// The run's last instant, startTime + until, must be a time the clock can hold.
void checkClockRange(const JsonObjectReader& top, const Scenario& scenario) {
  const double limit = clockLimitSeconds();
  const double start = scenario.startTime.value_or(nowSeconds());
  if (start > limit) {
    top.fail("startTime",
             "is beyond what the clock can hold (" + seconds(limit) + " seconds since 1970)");
  }
  if (scenario.until > limit - start) {
    top.fail("until", "runs past what the clock can hold (startTime + until must stay within " +
                          seconds(limit) + " seconds since 1970)");
  }
}

Scenario readScenario(const json& root, const std::filesystem::path& base) {
  if (!root.is_object()) {
    throw ScenarioError("the scenario must be a JSON object");
  }
  const JsonObjectReader top(root, "");
  top.allowOnly({"config", "caFile", "server", "creatives", "startTime", "device", "advertising",
                 "userDefaults", "initial", "steps", "until"});
  Scenario scenario;
  scenario.until = top.seconds("until");
  if (top.has("config")) {
    scenario.config = existingPath(top, "config", base, PathKind::file);
  }
  if (top.has("caFile")) {
    scenario.caFile = existingPath(top, "caFile", base, PathKind::file);
  }
  readServer(top, base, scenario);
  scenario.startTime = top.optionalSeconds("startTime");
  if (top.has("device")) {
    readDevice(top, scenario.device);
  }
  if (top.has("advertising")) {
    readAdvertising(top, scenario.advertising);
  }
  if (top.has("userDefaults")) {
    readUserDefaults(top, scenario.userDefaults);
  }
  if (top.has("initial")) {
    readInitial(top, scenario.initial);
  }
  checkClockRange(top, scenario);
  const json& steps = top.array("steps");
  double actions = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    scenario.steps.push_back(readStep(steps[i], i, scenario.until));
    actions += scenario.steps.back().occurrences();
    if (actions > kMaxActions) {
      top.failHere("steps[" + std::to_string(i) + "] brings the run to " + seconds(actions) +
                   " actions; a scenario holds at most " + seconds(kMaxActions) +
                   " (a longer \"every\" or a shorter \"until\" keeps it within)");
    }
  }
  return scenario;
}

/// nlohmann's "[json.exception.parse_error.101] parse error at ..." without its tag.
std::string withoutTag(const std::string& message) {
  const std::size_t end = message.find("] ");
  return end == std::string::npos ? message : message.substr(end + 2);
}

}  // namespace

Scenario ScenarioReader::read(const std::filesystem::path& file) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(file, error);
  std::ifstream in(file, std::ios::binary);
  if (error || !std::filesystem::is_regular_file(file, error) || !in) {
    throw ScenarioError(file.string() + ": cannot read the scenario file");
  }
  if (std::filesystem::file_size(file, error) > kMaxFileBytes || error) {
    throw ScenarioError(file.string() + ": the scenario file is larger than " +
                        std::to_string(kMaxFileBytes / (1024 * 1024)) + " MiB");
  }
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Scenario scenario = parse(text, absolute.parent_path(), file.string());
  scenario.file = absolute;
  return scenario;
}

Scenario ScenarioReader::parse(std::string_view text, const std::filesystem::path& baseDirectory,
                               std::string_view name) {
  const std::string prefix = std::string(name) + ": ";
  json root;
  try {
    root = json::parse(text);
  } catch (const json::exception& error) {  // parse errors and numbers out of range
    throw ScenarioError(prefix + "not valid JSON: " + withoutTag(error.what()));
  }
  std::error_code resolveError;
  const std::filesystem::path base =
      std::filesystem::absolute(baseDirectory.empty() ? "." : baseDirectory, resolveError);
  if (resolveError) {
    throw ScenarioError(prefix + "cannot resolve the folder " + baseDirectory.string() + ": " +
                        resolveError.message());
  }
  try {
    return readScenario(root, base);
  } catch (const ScenarioError& error) {
    throw ScenarioError(prefix + error.what());
  }
}

}  // namespace lumora::tools
