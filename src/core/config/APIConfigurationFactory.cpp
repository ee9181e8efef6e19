#include "core/config/APIConfigurationFactory.hpp"

#include <utility>

#include "core/config/APIConfigurationError.hpp"
#include "core/config/PropertyList.hpp"

namespace lumora {
namespace {

std::string requiredURL(const PropertyList& group, const std::string& key) {
  auto value = group.string(key);
  if (!value) throw APIConfigurationError::missingRequiredURL(key);
  return std::move(*value);
}

}  // namespace

APIConfigurationFactory::APIConfigurationFactory(std::shared_ptr<platform::ResourceBundle> bundle)
    : bundle_(std::move(bundle)) {}

APIConfiguration APIConfigurationFactory::createAPIConfiguration(Environment environment) const {
  const auto root = PropertyList::loadResource(*bundle_, "sdk", "plist");
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
  return APIConfiguration(environment, std::move(tracking), std::move(noTracking), std::move(cdn),
                          std::move(bucket));
}

}  // namespace lumora
