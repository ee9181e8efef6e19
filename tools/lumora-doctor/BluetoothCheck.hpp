#pragma once

#include <chrono>

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "bluetooth": bluetoothd on the system bus, the first adapter (the one the
/// SDK uses) present and powered, discovery permitted (a discovery is started
/// and stopped at once), and whether the adapter offers the advertisement
/// monitor API the SDK prefers for iBeacon regions.
class BluetoothCheck {
 public:
  static Check run(std::chrono::milliseconds timeout);
};

}  // namespace lumora::doctor
