#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "scenario/ScenarioAction.hpp"

namespace lumora::tools {

/// What the sim device reports about itself.
struct ScenarioDevice {
  std::string machine = "x86_64";
  std::string systemName = "Linux";
  std::string systemVersion = "6.1";
};

/// The platform's advertising identity.
struct ScenarioAdvertising {
  bool trackingAuthorized = false;
  std::optional<std::string> identifier;  // absent: the all-zero identifier
};

/// The OS state at t = 0, as raw statuses (see StatusNames).
struct ScenarioInitial {
  std::int64_t location = 0;       // notDetermined
  std::int64_t bluetooth = 5;      // poweredOn
  std::int64_t notifications = 0;  // notDetermined
  bool network = true;
};

/// One action at a virtual time, optionally repeated every `every` seconds up
/// to and including `until`.
struct ScenarioStep {
  double at = 0;
  std::optional<double> every;
  double until = 0;  // equals `at` for a step that does not repeat
  ScenarioAction action;
  /// The step as a person reads it: the action's name and its fields, e.g.
  /// "tapNotification index=0" or "ibeacon uuid=\"3F1C...\" major=1 minor=7 every=1 until=90".
  std::string description;

  /// How many times the action happens, as a double so that an absurd repeat
  /// (a tiny `every` over a long span) can be told apart before expanding it.
  double occurrences() const;
  /// Every virtual time the action happens at, ascending.
  std::vector<double> times() const;
};

/// A scenario as read from its file, with every default filled in and every
/// path made absolute (relative paths are taken from the scenario's folder).
struct Scenario {
  std::filesystem::path file;
  std::optional<std::filesystem::path> config;  // absent: the bundle has no sdk.plist
  std::optional<std::filesystem::path> caFile;
  bool embeddedServer = false;                     // "server": "embedded"
  std::optional<std::filesystem::path> creatives;  // set exactly when embeddedServer
  std::optional<double> startTime;                 // absent: the real clock's now
  ScenarioDevice device;
  ScenarioAdvertising advertising;
  std::map<std::string, std::string> userDefaults;
  ScenarioInitial initial;
  std::vector<ScenarioStep> steps;  // in file order
  double until = 0;
};

}  // namespace lumora::tools
