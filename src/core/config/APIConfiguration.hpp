#pragma once

#include <string>

#include "lumora/Environment.hpp"

namespace lumora {

/// The event and creative endpoints of one environment, exactly as
/// "sdk.plist" spells them (no trimming, no URL parsing; empty texts allowed).
class APIConfiguration {
 public:
  APIConfiguration(Environment environment, std::string trackingEventURL,
                   std::string noTrackingEventURL, std::string creativeCDNURL,
                   std::string creativeBucketName);

  /// The environment this configuration was built for.
  Environment environment() const noexcept;
  /// Event endpoint used when the client profile carries an advertising identifier.
  const std::string& getTrackingEventURL() const noexcept;
  /// Event endpoint used without an advertising identifier.
  const std::string& getNoTrackingEventURL() const noexcept;
  /// Host of the creative files.
  const std::string& getCreativeCDNURL() const noexcept;
  /// Storage bucket segment of the creative file path.
  const std::string& getCreativeBucketName() const noexcept;

  friend bool operator==(const APIConfiguration&, const APIConfiguration&) = default;

 private:
  Environment environment_;
  std::string trackingEventURL_;
  std::string noTrackingEventURL_;
  std::string creativeCDNURL_;
  std::string creativeBucketName_;
};

}  // namespace lumora
