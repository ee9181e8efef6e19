#include "SimRun.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace lumora::testing {
namespace {

void writeText(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

std::string entry(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key><string>" + value + "</string>";
}

constexpr const char* kUncapped =
    R"({"campaignId":12,"creativeId":345,"title":"Hello","message":"Come in","data":"d"})";
constexpr const char* kCapped =
    R"({"campaignId":12,"creativeId":346,"title":"Once","message":"a day",
        "frequencyCapping":{"intervalHours":24,"maxFrequency":1}})";

}  // namespace

std::string SimRun::readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

SimRun::SimRun()
    : folder(std::filesystem::temp_directory_path() /
             ("lumora-e2e-" + std::to_string(::getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
  std::filesystem::remove_all(folder);
  writeText(folder / "creatives/e2e/binding/3/0/0/ios.json", kUncapped);
  writeText(folder / "creatives/e2e/binding/1/2/3/4/ios.json", kCapped);
  writeText(folder / "creatives/e2e/binding/6/6/6/ios.json", R"({"title":"no ids","message":"m"})");
  tools::DevServerConfig config;
  config.creativesDir = folder / "creatives";
  config.certDir = folder / "cert";
  config.closeAfterEachRequest = true;
  server = std::make_unique<tools::DevServerEngine>(config);
  server->start();
}

SimRun::~SimRun() {
  server->stop();
  std::filesystem::remove_all(folder);
}

void SimRun::writePlist(const PlistOptions& options) {
  const std::string events =
      options.unreachableEvents ? "https://127.0.0.1:1" : "https://" + server->hostAndPort();
  const std::string group = "<dict>" + entry("EventURL", events + "/tracking") +
                            entry("NoTrackingEventURL", events + "/no-tracking") +
                            entry("CreativeCDNURL", server->hostAndPort()) +
                            entry("CreativeBucketName", "e2e") + "</dict>";
  std::string body;
  if (options.apiEndpoints) {
    body += "<key>APIEndpoints</key><dict><key>Stage</key>" + group + "<key>Production</key>" +
            group + "</dict>";
  }
  if (options.beaconSettings) {
    body += std::string("<key>BeaconSettings</key><dict><key>AppleBeacon</key><dict>") +
            entry("UUID", kIBeaconUuid) + entry("Identifier", "store") +
            "</dict><key>CustomBeacon</key><dict>" + entry("ServiceUUID", kServiceUuid) +
            "</dict></dict>";
  }
  writeText(folder / "sdk.plist",
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + body + "</dict></plist>");
}

nlohmann::json SimRun::scenario(const nlohmann::json& steps, double until) const {
  return {{"config", "sdk.plist"},
          {"caFile", server->caFile().string()},
          {"startTime", 1700000000.0},
          {"initial",
           {{"location", "authorizedAlways"},
            {"bluetooth", "poweredOn"},
            {"notifications", "authorized"},
            {"network", true}}},
          {"steps", steps},
          {"until", until}};
}

SimRun::Result SimRun::run(const nlohmann::json& scenario) {
  const auto file = folder / "scenario.json";
  writeText(file, scenario.dump(2));
  return runFile(file, {}, Process{});
}

SimRun::Exit SimRun::runSim(const std::vector<std::string>& arguments, const Process& process) {
  const auto errors = folder / "stderr.txt";
  std::vector<char*> argv{const_cast<char*>(LUMORA_SIM_PATH)};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    std::freopen(errors.c_str(), "w", stderr);
    std::freopen(process.standardOutput.c_str(), "w", stdout);
    if (process.temporaryDirectory) setenv("TMPDIR", process.temporaryDirectory->c_str(), 1);
    if (chdir(process.workingDirectory.c_str()) != 0) _exit(126);
    execv(LUMORA_SIM_PATH, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readText(errors)};
}

SimRun::Result SimRun::runFile(const std::filesystem::path& scenarioFile,
                               const std::vector<std::string>& moreArguments,
                               const Process& process) {
  const auto jsonl = folder / "out.jsonl";
  std::filesystem::remove(jsonl);
  std::vector<std::string> arguments{scenarioFile.string(), "--jsonl", jsonl.string()};
  arguments.insert(arguments.end(), moreArguments.begin(), moreArguments.end());
  const Exit exit = runSim(arguments, process);
  Result result;
  result.exitCode = exit.code;
  result.errorOutput = exit.errorOutput;
  std::ifstream in(jsonl);
  for (std::string line; std::getline(in, line);)
    result.records.push_back(nlohmann::json::parse(line));
  return result;
}

std::vector<nlohmann::json> SimRun::ofKind(const Result& result, const std::string& kind) {
  std::vector<nlohmann::json> matching;
  for (const auto& record : result.records) {
    if (record["kind"] == kind) matching.push_back(record);
  }
  return matching;
}

std::vector<std::string> SimRun::callbackNames(const Result& result) {
  std::vector<std::string> names;
  for (const auto& record : ofKind(result, "callback")) names.push_back(record["name"]);
  return names;
}

std::size_t SimRun::logCount(const Result& result, const std::string& message) {
  return logTimes(result, message).size();
}

std::vector<double> SimRun::logTimes(const Result& result, const std::string& message) {
  std::vector<double> times;
  for (const auto& record : ofKind(result, "log")) {
    if (record["message"] == message) times.push_back(record["t"]);
  }
  return times;
}

std::vector<nlohmann::json> SimRun::eventsOfType(const std::string& type) const {
  std::vector<nlohmann::json> matching;
  for (const auto& event : server->events()) {
    if (event.body.is_object() && event.body.value("eventType", "") == type) {
      matching.push_back(event.body);
    }
  }
  return matching;
}

}  // namespace lumora::testing
