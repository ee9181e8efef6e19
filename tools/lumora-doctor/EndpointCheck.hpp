#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "core/config/APIConfiguration.hpp"
#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "endpoints": each environment's endpoints well formed (event URLs are
/// https URLs; CreativeCDNURL is a bare host[:port], since the SDK forms
/// "https://" + host + "/" + bucket + ...), then each distinct server reached
/// over TLS with the trust the SDK uses: the system store plus, when given,
/// the PEM file named by LUMORA_CA_FILE. Any HTTP answer counts as reachable.
class EndpointCheck {
 public:
  static Check run(const std::vector<APIConfiguration>& environments,
                   const std::optional<std::string>& caFile, std::chrono::milliseconds timeout);
};

}  // namespace lumora::doctor
