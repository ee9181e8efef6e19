#pragma once

#include <exception>
#include <string>

namespace lumora {

/// Why the endpoint configuration could not be read from "sdk.plist". The
/// texts say "Info.plist" for historical reasons; the file read is "sdk.plist".
class APIConfigurationError : public std::exception {
 public:
  enum class Kind {
    missingRequiredURL,
    missingConfiguration,
    missingAPIEndpoints,
    missingEnvironmentEndpoints
  };

  static APIConfigurationError missingRequiredURL(std::string key);
  static APIConfigurationError missingConfiguration();
  static APIConfigurationError missingAPIEndpoints();
  static APIConfigurationError missingEnvironmentEndpoints();

  Kind kind() const noexcept;
  /// The missing key for missingRequiredURL; empty for the other kinds.
  const std::string& key() const noexcept;
  const std::string& localizedDescription() const noexcept;
  const char* what() const noexcept override;

 private:
  APIConfigurationError(Kind kind, std::string key, std::string description);

  Kind kind_;
  std::string key_;
  std::string description_;
};

}  // namespace lumora
