#pragma once

#include "core/beacon/BeaconIdentity.hpp"
#include "core/beacon/CBCentralManagerProtocol.hpp"

namespace lumora {

/// Receives what the Bluetooth delegate handler makes of the central's events.
class CBManagerDelegateHandlerDelegate {
 public:
  virtual ~CBManagerDelegateHandlerDelegate() = default;

  virtual void didUpdateState(CBManagerState state) = 0;
  virtual void didDiscoverBeacon(const BeaconIdentity& beaconData) = 0;
};

}  // namespace lumora
