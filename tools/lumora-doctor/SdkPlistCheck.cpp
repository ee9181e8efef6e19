#include "lumora-doctor/SdkPlistCheck.hpp"

#include <memory>
#include <string>

#include "core/config/APIConfigurationError.hpp"
#include "core/config/APIConfigurationFactory.hpp"
#include "core/config/BeaconSettingsFactory.hpp"
#include "core/config/ConfigurationFile.hpp"
#include "core/util/Uuid.hpp"
#include "lumora-doctor/ConfigFileBundle.hpp"
#include "lumora-doctor/Findings.hpp"
#include "lumora/BeaconSettingsError.hpp"
#include "platform/linux/LinuxResourceBundle.hpp"

namespace lumora::doctor {
namespace {

using platform::ResourceBundle;

struct Located {
  std::shared_ptr<ResourceBundle> bundle;  // null when there is no readable file
  std::filesystem::path path;
};

/// The first search directory that yields a readable sdk.plist, tried in the
/// SDK's order and read the SDK's way.
Located locate(const std::optional<std::filesystem::path>& configFile, std::string* searched) {
  if (configFile) {
    auto bundle = std::make_shared<ConfigFileBundle>(*configFile);
    *searched = configFile->string();
    if (!bundle->resource("sdk", "plist")) return {nullptr, *configFile};
    return {bundle, *configFile};
  }
  const platform::LinuxResourceBundle sdkSearch;
  for (const auto& directory : sdkSearch.searchDirectories()) {
    if (!searched->empty()) *searched += ", ";
    *searched += directory.string();
    auto bundle = std::make_shared<platform::LinuxResourceBundle>(directory);
    if (bundle->resource("sdk", "plist")) return {bundle, directory / "sdk.plist"};
  }
  return {};
}

const char* groupName(Environment environment) {
  return environment == Environment::production ? "Production" : "Stage";
}

void readEndpoints(const std::shared_ptr<const ConfigurationFile>& file, Findings& findings,
                   std::vector<APIConfiguration>& environments) {
  std::string failures;
  for (const auto environment : {Environment::production, Environment::stage}) {
    try {
      environments.push_back(APIConfigurationFactory(file).createAPIConfiguration(environment));
    } catch (const APIConfigurationError& error) {
      failures += std::string(failures.empty() ? "" : "; ") + groupName(environment) + ": " +
                  error.localizedDescription();
    }
  }
  constexpr const char* kRemedy =
      "give APIEndpoints a Production and a Stage dictionary, each with the strings EventURL, "
      "NoTrackingEventURL, CreativeCDNURL and CreativeBucketName";
  if (environments.empty()) {
    findings.error("no usable endpoints (" + failures + ")", kRemedy);
  } else if (!failures.empty()) {
    findings.warning(failures + " (initiate with that environment reports configurationError)",
                     kRemedy);
  }
  for (const auto& configuration : environments) {
    findings.ok(std::string(groupName(configuration.environment())) + " endpoints");
  }
}

void readBeaconSettings(const std::shared_ptr<const ConfigurationFile>& file, Findings& findings) {
  try {
    const auto settings = BeaconSettingsFactory(file).createBeaconSettings();
    findings.ok("beacon settings (iBeacon region " + settings.appleBeaconUUID + ")");
    if (!Uuid::parseBluetooth(settings.customBeaconServiceUUID)) {
      findings.warning("CustomBeacon ServiceUUID '" + settings.customBeaconServiceUUID +
                           "' is not a Bluetooth UUID: no custom beacon can match it",
                       "write the service UUID as 8-4-4-4-12 hexadecimal digits or as its "
                       "16- or 32-bit short form");
    }
  } catch (const BeaconSettingsError& error) {
    findings.error(error.localizedDescription() + " (start() cannot scan)",
                   "BeaconSettings needs AppleBeacon {UUID, Identifier} and CustomBeacon "
                   "{ServiceUUID}; see resources/sdk.plist");
  }
}

}  // namespace

SdkPlistCheck::Result SdkPlistCheck::run(const std::optional<std::filesystem::path>& configFile) {
  Result result;
  Findings findings;
  std::string searched;
  const Located located = locate(configFile, &searched);
  if (!located.bundle) {
    findings.error(configFile ? searched + ": missing, unreadable or too large"
                              : "no readable sdk.plist in " + searched,
                   configFile ? "pass a readable sdk.plist"
                              : "install the runtime package's sdk.plist to <prefix>/share/lumora, "
                                "or check your own file with --config FILE");
  } else if (const auto file = std::make_shared<const ConfigurationFile>(*located.bundle);
             !file->root()) {
    findings.error(located.path.string() +
                       " is not a property list with a dictionary at its root, or is nested too "
                       "deeply",
                   "fix the file's syntax: plistutil -i " + located.path.string());
  } else {
    findings.ok("found " + located.path.string());
    readEndpoints(file, findings, result.environments);
    readBeaconSettings(file, findings);
  }
  result.check = findings.check("sdk.plist");
  return result;
}

}  // namespace lumora::doctor
