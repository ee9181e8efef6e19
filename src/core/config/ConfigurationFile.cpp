#include "core/config/ConfigurationFile.hpp"

namespace lumora {
namespace {

std::optional<PropertyList> read(const platform::ResourceBundle& bundle) {
  const auto bytes = bundle.resource("sdk", "plist");
  if (!bytes) return std::nullopt;
  return PropertyList::parseDictionary(*bytes);
}

}  // namespace

ConfigurationFile::ConfigurationFile(const platform::ResourceBundle& bundle)
    : root_(read(bundle)) {}

const std::optional<PropertyList>& ConfigurationFile::root() const noexcept { return root_; }

}  // namespace lumora
