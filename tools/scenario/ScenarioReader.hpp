#pragma once

#include <filesystem>
#include <string_view>

#include "scenario/Scenario.hpp"

namespace lumora::tools {

/// Reads a lumora-sim scenario file into a checked Scenario.
///
/// A runner uses it like this:
///   Scenario scenario;
///   try {
///     scenario = ScenarioReader::read(argv[1]);
///   } catch (const ScenarioError& error) {
///     std::cerr << error.what() << '\n';   // one line: file, place, problem
///     return 2;
///   }
///   for (const ScenarioStep& step : scenario.steps)
///     for (double t : step.times())      // `every` + `until` already expanded
///       schedule(t, step.action);          // equal times keep file order
/// and then writes what happens through a RecordSink.
///
/// The reader accepts exactly the documented fields (an unknown field is an
/// error, so that a misspelt key cannot be silently ignored), resolves every
/// path against the scenario's folder and checks that it exists, maps status
/// names to raw values and fills in every default:
///   device       x86_64 / Linux / 6.1
///   advertising  trackingAuthorized false, no identifier
///   initial      location notDetermined, bluetooth poweredOn,
///                notifications notDetermined, network true
///   startTime    absent (the runner takes the real clock's now)
///   a step's `until` with `every` but no `until`: the scenario's `until`
///   tapNotification `index`: 0
class ScenarioReader {
 public:
  /// Throws ScenarioError "<file>: <problem>" for an unreadable file, text
  /// that is not JSON, and any field that is missing, unknown, of the wrong
  /// type, out of range or naming a missing file.
  static Scenario read(const std::filesystem::path& file);

  /// The same for text in memory: relative paths are taken from
  /// baseDirectory, and messages begin with name.
  static Scenario parse(std::string_view text, const std::filesystem::path& baseDirectory,
                        std::string_view name);
};

}  // namespace lumora::tools
