#include "core/config/APIConfigurationError.hpp"

#include <utility>

namespace lumora {

APIConfigurationError::APIConfigurationError(Kind kind, std::string key, std::string description)
    : kind_(kind), key_(std::move(key)), description_(std::move(description)) {}

APIConfigurationError APIConfigurationError::missingRequiredURL(std::string key) {
  std::string description = "Required URL '" + key + "' is missing in Info.plist";
  return {Kind::missingRequiredURL, std::move(key), std::move(description)};
}

APIConfigurationError APIConfigurationError::missingConfiguration() {
  return {Kind::missingConfiguration, {}, "configuration file is missing or cannot be read"};
}

APIConfigurationError APIConfigurationError::missingAPIEndpoints() {
  return {Kind::missingAPIEndpoints, {}, "APIEndpoints section is missing in Info.plist"};
}

APIConfigurationError APIConfigurationError::missingEnvironmentEndpoints() {
  return {Kind::missingEnvironmentEndpoints,
          {},
          "Environment-specific endpoints are missing in Info.plist"};
}

APIConfigurationError::Kind APIConfigurationError::kind() const noexcept { return kind_; }
const std::string& APIConfigurationError::key() const noexcept { return key_; }
const std::string& APIConfigurationError::localizedDescription() const noexcept {
  return description_;
}
const char* APIConfigurationError::what() const noexcept { return description_.c_str(); }

}  // namespace lumora
