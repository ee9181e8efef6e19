#include "core/config/APIConfiguration.hpp"

#include <utility>

namespace lumora {

APIConfiguration::APIConfiguration(Environment environment, std::string trackingEventURL,
                                   std::string noTrackingEventURL, std::string creativeCDNURL,
                                   std::string creativeBucketName)
    : environment_(environment),
      trackingEventURL_(std::move(trackingEventURL)),
      noTrackingEventURL_(std::move(noTrackingEventURL)),
      creativeCDNURL_(std::move(creativeCDNURL)),
      creativeBucketName_(std::move(creativeBucketName)) {}

Environment APIConfiguration::environment() const noexcept { return environment_; }
const std::string& APIConfiguration::getTrackingEventURL() const noexcept {
  return trackingEventURL_;
}
const std::string& APIConfiguration::getNoTrackingEventURL() const noexcept {
  return noTrackingEventURL_;
}
const std::string& APIConfiguration::getCreativeCDNURL() const noexcept { return creativeCDNURL_; }
const std::string& APIConfiguration::getCreativeBucketName() const noexcept {
  return creativeBucketName_;
}

}  // namespace lumora
