#pragma once

#include <exception>
#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// Why the "BeaconSettings" section of "sdk.plist" could not be used.
class LUMORA_EXPORT BeaconSettingsError : public std::exception {
 public:
  /// The cases, in the order the checks run.
  enum class Kind {
    missingRequiredSetting,  ///< a key is absent or of the wrong type
    invalidUUIDFormat,       ///< "AppleBeacon" / "UUID" is not UUID text
    missingConfiguration,    ///< no readable sdk.plist
    missingBeaconSettings    ///< no "BeaconSettings" dictionary
  };

  /// "Required beacon setting '<keyPath>' is missing in sdk.plist"; keyPath is
  /// dotted, e.g. "AppleBeacon.UUID".
  static BeaconSettingsError missingRequiredSetting(std::string keyPath);
  /// "Invalid UUID format: '<text>'", carrying the text as read.
  static BeaconSettingsError invalidUUIDFormat(std::string text);
  /// "sdk.plist file is missing or cannot be read".
  static BeaconSettingsError missingConfiguration();
  /// "BeaconSettings section is missing in sdk.plist".
  static BeaconSettingsError missingBeaconSettings();

  /// Which case this is.
  Kind kind() const noexcept;
  /// The key path or the offending text; empty for the other kinds.
  const std::string& payload() const noexcept;
  /// The fixed text of the case, with its payload.
  const std::string& localizedDescription() const noexcept;
  /// localizedDescription(), as a C string.
  const char* what() const noexcept override;

 private:
  BeaconSettingsError(Kind kind, std::string payload, std::string description);

  Kind kind_;
  std::string payload_;
  std::string description_;
};

}  // namespace lumora
