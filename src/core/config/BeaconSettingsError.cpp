#include "lumora/BeaconSettingsError.hpp"

#include <utility>

namespace lumora {

BeaconSettingsError::BeaconSettingsError(Kind kind, std::string payload, std::string description)
    : kind_(kind), payload_(std::move(payload)), description_(std::move(description)) {}

BeaconSettingsError BeaconSettingsError::missingRequiredSetting(std::string keyPath) {
  std::string text = "Required beacon setting '" + keyPath + "' is missing in sdk.plist";
  return {Kind::missingRequiredSetting, std::move(keyPath), std::move(text)};
}

BeaconSettingsError BeaconSettingsError::invalidUUIDFormat(std::string text) {
  std::string description = "Invalid UUID format: '" + text + "'";
  return {Kind::invalidUUIDFormat, std::move(text), std::move(description)};
}

BeaconSettingsError BeaconSettingsError::missingConfiguration() {
  return {Kind::missingConfiguration, {}, "sdk.plist file is missing or cannot be read"};
}

BeaconSettingsError BeaconSettingsError::missingBeaconSettings() {
  return {Kind::missingBeaconSettings, {}, "BeaconSettings section is missing in sdk.plist"};
}

BeaconSettingsError::Kind BeaconSettingsError::kind() const noexcept { return kind_; }
const std::string& BeaconSettingsError::payload() const noexcept { return payload_; }
const std::string& BeaconSettingsError::localizedDescription() const noexcept {
  return description_;
}
const char* BeaconSettingsError::what() const noexcept { return description_.c_str(); }

}  // namespace lumora
