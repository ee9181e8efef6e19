#pragma once

#include <cstdint>
#include <string>

namespace lumora {

/// Hears of each new custom-beacon identity the beacon manager lets through.
class BeaconListener {
 public:
  virtual ~BeaconListener() = default;

  virtual void onBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                                std::int64_t bindingId) = 0;
};

}  // namespace lumora
