#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumora::tools {

/// Points every endpoint group of an "sdk.plist" at one server: the event
/// URLs become https://HOST/events and https://HOST/events-nt, the creative
/// host becomes HOST; bucket names and beacon settings stay. Throws
/// ScenarioError when the bytes are not a property list.
class EndpointRewriter {
 public:
  static std::vector<std::uint8_t> rewrite(const std::vector<std::uint8_t>& plist,
                                           const std::string& hostAndPort);
};

}  // namespace lumora::tools
