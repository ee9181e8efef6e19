#pragma once

#include <exception>
#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// Why the "BeaconSettings" section of "sdk.plist" could not be used.
class LUMORA_EXPORT BeaconSettingsError : public std::exception {
 public:
  enum class Kind {
    missingRequiredSetting,
    invalidUUIDFormat,
    missingConfiguration,
    missingBeaconSettings
  };

  static BeaconSettingsError missingRequiredSetting(std::string keyPath);
  static BeaconSettingsError invalidUUIDFormat(std::string text);
  static BeaconSettingsError missingConfiguration();
  static BeaconSettingsError missingBeaconSettings();

  Kind kind() const noexcept;
  /// The key path or the offending text; empty for the other kinds.
  const std::string& payload() const noexcept;
  const std::string& localizedDescription() const noexcept;
  const char* what() const noexcept override;

 private:
  BeaconSettingsError(Kind kind, std::string payload, std::string description);

  Kind kind_;
  std::string payload_;
  std::string description_;
};

}  // namespace lumora
