#pragma once

#include <string>
#include <string_view>

#include "platform/LocationService.hpp"

namespace lumora {

/// A region the location service can monitor, independent of the platform.
class Region {
 public:
  virtual ~Region() = default;

  virtual const std::string& identifier() const = 0;
  /// The platform's form of this region.
  virtual platform::PlatformRegion toCLRegion() const = 0;
  /// The qualified type name, the region's text in log lines.
  virtual std::string_view description() const = 0;
};

}  // namespace lumora
