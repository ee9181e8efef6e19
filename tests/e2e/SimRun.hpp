#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "devserver/DevServerEngine.hpp"

namespace lumora::testing {

/// One lumora-sim run against a development server: scenario and sdk.plist
/// written to a temporary folder, the simulator run as its own process, its
/// JSON-lines records read back.
class SimRun : public ::testing::Test {
 protected:
  struct Result {
    int exitCode = -1;
    std::vector<nlohmann::json> records;
    std::string errorOutput;
  };
  struct PlistOptions {
    bool apiEndpoints = true;
    bool beaconSettings = true;
    bool unreachableEvents = false;  // event URLs on a port where nothing listens
  };

  static constexpr const char* kIBeaconUuid = "3F1C2A9E-7B4D-4E8A-9C61-5D2E8F0A7B13";
  static constexpr const char* kServiceUuid = "6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60";

  SimRun();
  ~SimRun() override;

  /// Writes sdk.plist into the run's folder.
  void writePlist(const PlistOptions& options);
  /// A scenario of these steps that uses sdk.plist and the server's CA.
  nlohmann::json scenario(const nlohmann::json& steps, double until) const;
  Result run(const nlohmann::json& scenario);
  /// How runSim starts lumora-sim: its working directory, where its standard
  /// output goes, and TMPDIR (unset: inherited).
  struct Process {
    std::filesystem::path workingDirectory = ".";
    std::filesystem::path standardOutput = "/dev/null";
    std::optional<std::filesystem::path> temporaryDirectory = std::nullopt;
  };
  struct Exit {
    int code = -1;
    std::string errorOutput;
  };
  /// Runs lumora-sim with these arguments and waits for it.
  Exit runSim(const std::vector<std::string>& arguments, const Process& process);
  /// Runs the file with --jsonl and any further arguments.
  Result runFile(const std::filesystem::path& scenarioFile,
                 const std::vector<std::string>& moreArguments, const Process& process);
  static std::string readText(const std::filesystem::path& path);

  static std::vector<nlohmann::json> ofKind(const Result& result, const std::string& kind);
  static std::vector<std::string> callbackNames(const Result& result);
  static std::size_t logCount(const Result& result, const std::string& message);
  /// The times of the log records with this message.
  static std::vector<double> logTimes(const Result& result, const std::string& message);
  /// Events the server received, of one type ("request", "notification", "click").
  std::vector<nlohmann::json> eventsOfType(const std::string& type) const;

  std::filesystem::path folder;
  std::unique_ptr<tools::DevServerEngine> server;
};

}  // namespace lumora::testing
