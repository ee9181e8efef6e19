#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "core/config/APIConfiguration.hpp"
#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "sdk.plist": finds the file where the SDK looks for it (or takes the one
/// given) and reads it through the SDK's own configuration readers: the
/// endpoints of each environment and the beacon settings.
class SdkPlistCheck {
 public:
  struct Result {
    Check check;
    /// The environments whose endpoints could be read, for the endpoint check.
    std::vector<APIConfiguration> environments;
  };

  /// With no file, the search is the SDK's: the directory of the binary
  /// holding the library code (here the doctor, which is installed in the same
  /// prefix as the library), then <prefix>/share/lumora.
  static Result run(const std::optional<std::filesystem::path>& configFile);
};

}  // namespace lumora::doctor
