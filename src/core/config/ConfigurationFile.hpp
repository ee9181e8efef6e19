#pragma once

#include <memory>
#include <optional>

#include "core/config/PropertyList.hpp"
#include "platform/ResourceBundle.hpp"

namespace lumora {

/// The library bundle's "sdk.plist", read and parsed once, on construction:
/// the beacon settings and the endpoint configuration are both taken from
/// this one reading. Immutable afterwards.
class ConfigurationFile {
 public:
  explicit ConfigurationFile(const platform::ResourceBundle& bundle);

  /// The root dictionary, or nothing when the file is missing, cannot be read,
  /// exceeds PropertyList::kLimits or is not a property-list dictionary.
  const std::optional<PropertyList>& root() const noexcept;

 private:
  std::optional<PropertyList> root_;
};

}  // namespace lumora
