#include "core/beacon/CBManagerDelegateHandler.hpp"

#include "core/beacon/BeaconDataParser.hpp"

namespace lumora {

CBManagerDelegateHandlerDelegate* CBManagerDelegateHandler::delegate() const noexcept {
  return delegate_;
}

void CBManagerDelegateHandler::setDelegate(CBManagerDelegateHandlerDelegate* delegate) noexcept {
  delegate_ = delegate;
}

void CBManagerDelegateHandler::didUpdateState(CBManagerState state) {
  if (delegate_) delegate_->didUpdateState(state);
}

void CBManagerDelegateHandler::centralDidUpdateState(std::int64_t state) {
  didUpdateState(static_cast<CBManagerState>(state));
}

void CBManagerDelegateHandler::centralDidDiscover(
    const platform::AdvertisementData& advertisement) {
  processAdvertisementData(advertisement);
}

void CBManagerDelegateHandler::processAdvertisementData(
    const platform::AdvertisementData& advertisementData) {
  if (!advertisementData.manufacturerData) return;
  const auto beacon = BeaconDataParser::parseIdentity(*advertisementData.manufacturerData);
  if (beacon && delegate_) delegate_->didDiscoverBeacon(*beacon);
}

}  // namespace lumora
