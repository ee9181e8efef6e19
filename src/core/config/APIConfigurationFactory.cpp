#include "core/config/APIConfigurationFactory.hpp"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include "core/config/APIConfigurationError.hpp"
#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

std::string requiredURL(const PropertyList& group, const std::string& key) {
  auto value = group.string(key);
  if (!value) throw APIConfigurationError::missingRequiredURL(key);
  return std::move(*value);
}

bool isCleartext(std::string_view url) {
  constexpr std::string_view kScheme = "http:";
  return url.size() >= kScheme.size() &&
         std::equal(kScheme.begin(), kScheme.end(), url.begin(), [](char expected, char actual) {
           return expected == std::tolower(static_cast<unsigned char>(actual));
         });
}

void warnAboutCleartext(const APIConfiguration& configuration) {
  std::string keys;
  for (const auto& [key, url] :
       {std::pair{"EventURL", configuration.getTrackingEventURL()},
        std::pair{"NoTrackingEventURL", configuration.getNoTrackingEventURL()}}) {
    if (isCleartext(url)) keys += (keys.empty() ? "" : ", ") + std::string(key);
  }
  if (keys.empty()) return;
  LUMORA_LOG(LogLevel::warning, "APIConfigurationFactory", "createAPIConfiguration(environment:)",
             "Cleartext http:// endpoint in sdk.plist (" + keys +
                 "): events would send personal data unencrypted, so these requests are "
                 "refused; use https://");
}

}  // namespace

APIConfigurationFactory::APIConfigurationFactory(std::shared_ptr<const ConfigurationFile> file)
    : file_(std::move(file)) {}

APIConfiguration APIConfigurationFactory::createAPIConfiguration(Environment environment) const {
  const auto& root = file_->root();
  if (!root) throw APIConfigurationError::missingConfiguration();
  const auto endpoints = root->dictionary("APIEndpoints");
  if (!endpoints) throw APIConfigurationError::missingAPIEndpoints();
  const auto group =
      endpoints->dictionary(environment == Environment::production ? "Production" : "Stage");
  if (!group) throw APIConfigurationError::missingEnvironmentEndpoints();

  // Named locals fix the order in which the keys are checked.
  std::string tracking = requiredURL(*group, "EventURL");
  std::string noTracking = requiredURL(*group, "NoTrackingEventURL");
  std::string cdn = requiredURL(*group, "CreativeCDNURL");
  std::string bucket = requiredURL(*group, "CreativeBucketName");
  APIConfiguration configuration(environment, std::move(tracking), std::move(noTracking),
                                 std::move(cdn), std::move(bucket));
  warnAboutCleartext(configuration);
  return configuration;
}

}  // namespace lumora
