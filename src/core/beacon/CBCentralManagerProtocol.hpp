#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/BleCentral.hpp"

namespace lumora {

/// The Bluetooth central's state, with the platform's raw values. Values the
/// platform may add later are carried as they are.
enum class CBManagerState : std::int64_t {
  unknown = 0,
  resetting = 1,
  unsupported = 2,
  unauthorized = 3,
  poweredOff = 4,
  poweredOn = 5,
};

/// How the custom-beacon scanner reaches the Bluetooth central.
class CBCentralManagerProtocol {
 public:
  virtual ~CBCentralManagerProtocol() = default;

  virtual std::shared_ptr<platform::BleCentralDelegate> delegate() const = 0;
  /// The delegate is held strongly.
  virtual void setDelegate(std::shared_ptr<platform::BleCentralDelegate> delegate) = 0;
  virtual CBManagerState state() const = 0;
  /// Starts or replaces a scan for peripherals advertising one of the services.
  virtual void scanForPeripherals(const std::vector<std::string>& serviceUuids,
                                  bool allowDuplicates) = 0;
  virtual void stopScan() = 0;
  /// Reports, now or within `timeout` seconds, whether the radio is powered
  /// on; the completion may run after this returns.
  virtual void waitForPoweredOn(double timeout, std::function<void(bool poweredOn)> completion) = 0;
};

}  // namespace lumora
