// Feeds arbitrary bytes as the bundle's "sdk.plist" through the same reading
// the SDK does (one ConfigurationFile shared by both factories) and checks that
// every outcome is a configuration or one of the factories' errors.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "FuzzCheck.hpp"
#include "core/config/APIConfigurationError.hpp"
#include "core/config/APIConfigurationFactory.hpp"
#include "core/config/BeaconSettingsFactory.hpp"
#include "core/util/Uuid.hpp"
#include "lumora/BeaconSettingsError.hpp"
#include "platform/sim/SimPlatform.hpp"

namespace {

using lumora::fuzz::check;
using lumora::fuzz::simPlatform;

void readSettings(const std::shared_ptr<const lumora::ConfigurationFile>& file) {
  try {
    const auto settings = lumora::BeaconSettingsFactory(file).createBeaconSettings();
    check(lumora::Uuid::parse(settings.appleBeaconUUID).has_value());
  } catch (const lumora::BeaconSettingsError& error) {
    check(!error.localizedDescription().empty());
  }
}

void readEndpoints(const std::shared_ptr<const lumora::ConfigurationFile>& file,
                   lumora::Environment environment) {
  try {
    check(lumora::APIConfigurationFactory(file).createAPIConfiguration(environment).environment() ==
          environment);
  } catch (const lumora::APIConfigurationError& error) {
    check(!error.localizedDescription().empty());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto& platform = simPlatform();
  platform->bundle->setResource("sdk.plist", std::vector<std::uint8_t>(data, data + size));
  const auto file = std::make_shared<const lumora::ConfigurationFile>(*platform->bundle);
  readSettings(file);
  readEndpoints(file, lumora::Environment::stage);
  readEndpoints(file, lumora::Environment::production);
  platform->log->clear();
  return 0;
}
