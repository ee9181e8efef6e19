#pragma once

#include <memory>

#include "core/beacon/CBCentralManagerProtocol.hpp"
#include "core/beacon/CBManagerDelegateHandlerDelegate.hpp"
#include "platform/BleCentral.hpp"

namespace lumora {

/// The Bluetooth central's delegate on behalf of the custom-beacon scanner:
/// passes state changes on and turns each advertisement whose manufacturer
/// data is a custom beacon into a didDiscoverBeacon call. Everything else is
/// dropped silently. It needs nothing of the central itself, which holds it
/// as its delegate.
class CBManagerDelegateHandler : public platform::BleCentralDelegate {
 public:
  std::weak_ptr<CBManagerDelegateHandlerDelegate> delegate() const;
  /// Held weakly.
  void setDelegate(std::weak_ptr<CBManagerDelegateHandlerDelegate> delegate);

  void didUpdateState(CBManagerState state);
  void centralDidUpdateState(std::int64_t state) override;
  void centralDidDiscover(const platform::AdvertisementData& advertisement) override;
  void processAdvertisementData(const platform::AdvertisementData& advertisementData);

 private:
  std::weak_ptr<CBManagerDelegateHandlerDelegate> delegate_;
};

}  // namespace lumora
