#pragma once

#include <memory>

#include "core/config/APIConfiguration.hpp"
#include "lumora/Environment.hpp"
#include "platform/ResourceBundle.hpp"

namespace lumora {

/// Reads the endpoint group of one environment from the library bundle's
/// "sdk.plist":
///   APIEndpoints / {Stage | Production} / {EventURL, NoTrackingEventURL,
///                                          CreativeCDNURL, CreativeBucketName}
class APIConfigurationFactory {
 public:
  explicit APIConfigurationFactory(std::shared_ptr<platform::ResourceBundle> bundle);

  /// Reads the file anew on every call. Throws APIConfigurationError for the
  /// first gap found: no readable file, no "APIEndpoints" dictionary, no group
  /// for the environment, then the first of the four keys, in the order above,
  /// that is absent or not a string.
  APIConfiguration createAPIConfiguration(Environment environment) const;

 private:
  std::shared_ptr<platform::ResourceBundle> bundle_;
};

}  // namespace lumora
