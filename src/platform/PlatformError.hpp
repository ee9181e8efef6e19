#pragma once

#include <cstdint>
#include <string>

namespace lumora::platform {

/// An error value as platform services report it: a domain, a numeric code and
/// a human-readable description.
struct PlatformError {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;
};

}  // namespace lumora::platform
