#include "core/beacon/CBManagerDelegateHandler.hpp"

namespace lumora {

std::weak_ptr<CBManagerDelegateHandlerDelegate> CBManagerDelegateHandler::delegate() const {
  return delegate_;
}

void CBManagerDelegateHandler::setDelegate(
    std::weak_ptr<CBManagerDelegateHandlerDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void CBManagerDelegateHandler::didUpdateState(CBManagerState state) {
  if (auto delegate = delegate_.lock()) delegate->didUpdateState(state);
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
  const auto beaconData =
      BeaconDataParser::parseManufacturerData(*advertisementData.manufacturerData);
  if (!beaconData) return;
  if (auto delegate = delegate_.lock()) delegate->didDiscoverBeacon(*beaconData);
}

}  // namespace lumora
