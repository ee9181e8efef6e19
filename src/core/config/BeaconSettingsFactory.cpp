#include "core/config/BeaconSettingsFactory.hpp"

#include <utility>

#include "core/config/PropertyList.hpp"
#include "core/util/Uuid.hpp"
#include "lumora/BeaconSettingsError.hpp"

namespace lumora {
namespace {

PropertyList requiredGroup(const PropertyList& section, const std::string& key) {
  auto group = section.dictionary(key);
  if (!group) throw BeaconSettingsError::missingRequiredSetting(key);
  return std::move(*group);
}

std::string requiredText(const PropertyList& group, const std::string& groupKey,
                         const std::string& key) {
  auto value = group.string(key);
  if (!value) throw BeaconSettingsError::missingRequiredSetting(groupKey + "." + key);
  return std::move(*value);
}

}  // namespace

BeaconSettingsFactory::BeaconSettingsFactory(std::shared_ptr<const ConfigurationFile> file)
    : file_(std::move(file)) {}

BeaconSettings BeaconSettingsFactory::createBeaconSettings() const {
  const auto& root = file_->root();
  if (!root) throw BeaconSettingsError::missingConfiguration();
  const auto section = root->dictionary("BeaconSettings");
  if (!section) throw BeaconSettingsError::missingBeaconSettings();

  const PropertyList apple = requiredGroup(*section, "AppleBeacon");
  std::string uuid = requiredText(apple, "AppleBeacon", "UUID");
  if (!Uuid::parse(uuid)) throw BeaconSettingsError::invalidUUIDFormat(uuid);
  std::string identifier = requiredText(apple, "AppleBeacon", "Identifier");

  const PropertyList custom = requiredGroup(*section, "CustomBeacon");
  std::string serviceUuid = requiredText(custom, "CustomBeacon", "ServiceUUID");
  return BeaconSettings{std::move(uuid), std::move(identifier), std::move(serviceUuid)};
}

}  // namespace lumora
