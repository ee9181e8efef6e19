#pragma once

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "network": a default route, read from the kernel's routing table over
/// netlink exactly as the SDK's reachability probe reads it. Without one the
/// SDK still runs, but each creative fetch reports
/// internetConnectionUnavailable, so it is a warning, not an error.
class NetworkCheck {
 public:
  static Check run();
};

}  // namespace lumora::doctor
