#pragma once

#include <memory>

#include "core/config/APIConfiguration.hpp"
#include "core/config/ConfigurationFile.hpp"
#include "lumora/Environment.hpp"

namespace lumora {

/// Reads the endpoint group of one environment from the library bundle's
/// "sdk.plist":
///   APIEndpoints / {Stage | Production} / {EventURL, NoTrackingEventURL,
///                                          CreativeCDNURL, CreativeBucketName}
class APIConfigurationFactory {
 public:
  explicit APIConfigurationFactory(std::shared_ptr<const ConfigurationFile> file);

  /// Throws APIConfigurationError for the first gap found: no readable file,
  /// no "APIEndpoints" dictionary, no group for the environment, then the
  /// first of the four keys, in the order above, that is absent or not a
  /// string. Logs one warning when an event endpoint is cleartext http://:
  /// events carry personal data, and the HTTP layer refuses such requests.
  APIConfiguration createAPIConfiguration(Environment environment) const;

 private:
  std::shared_ptr<const ConfigurationFile> file_;
};

}  // namespace lumora
