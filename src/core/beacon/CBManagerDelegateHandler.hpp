#pragma once

#include "core/beacon/CBCentralManagerProtocol.hpp"
#include "core/beacon/CBManagerDelegateHandlerDelegate.hpp"
#include "platform/BleCentral.hpp"

namespace lumora {

/// The Bluetooth central's delegate on behalf of the custom-beacon scanner:
/// passes state changes on and turns each advertisement whose manufacturer
/// data is a custom beacon into a didDiscoverBeacon call. Everything else is
/// dropped silently. It needs nothing of the central itself, which holds it
/// as its delegate.
///
/// The delegate is the scanner that owns this handler, and the scanner
/// detaches itself before it goes away. So the handler keeps a plain pointer
/// that is valid whenever it is set, and an advertisement costs no
/// reference-count traffic; once the scanner is gone, events are dropped.
/// Everything runs on the main queue.
class CBManagerDelegateHandler final : public platform::BleCentralDelegate {
 public:
  CBManagerDelegateHandlerDelegate* delegate() const noexcept;
  /// Not owned: a delegate sets nullptr here before it is destroyed.
  void setDelegate(CBManagerDelegateHandlerDelegate* delegate) noexcept;

  void didUpdateState(CBManagerState state);
  void centralDidUpdateState(std::int64_t state) override;
  void centralDidDiscover(const platform::AdvertisementData& advertisement) override;
  void processAdvertisementData(const platform::AdvertisementData& advertisementData);

 private:
  CBManagerDelegateHandlerDelegate* delegate_ = nullptr;
};

}  // namespace lumora
