#include "core/beacon/CBCentralManagerAdapter.hpp"

namespace lumora {

std::shared_ptr<CBCentralManagerAdapter> CBCentralManagerAdapter::create(
    std::shared_ptr<platform::BleCentral> centralManager,
    std::shared_ptr<platform::MainQueue> mainQueue,
    std::shared_ptr<platform::BleCentralDelegate> delegate) {
  auto adapter = std::shared_ptr<CBCentralManagerAdapter>(new CBCentralManagerAdapter(
      std::move(centralManager), std::move(mainQueue), std::move(delegate)));
  adapter->centralManager_->setDelegate(adapter);
  return adapter;
}

CBCentralManagerAdapter::CBCentralManagerAdapter(
    std::shared_ptr<platform::BleCentral> centralManager,
    std::shared_ptr<platform::MainQueue> mainQueue,
    std::shared_ptr<platform::BleCentralDelegate> delegate)
    : centralManager_(std::move(centralManager)),
      mainQueue_(std::move(mainQueue)),
      delegate_(std::move(delegate)) {}

std::shared_ptr<platform::BleCentralDelegate> CBCentralManagerAdapter::delegate() const {
  return delegate_;
}

void CBCentralManagerAdapter::setDelegate(std::shared_ptr<platform::BleCentralDelegate> delegate) {
  delegate_ = std::move(delegate);
}

CBManagerState CBCentralManagerAdapter::state() const {
  return static_cast<CBManagerState>(centralManager_->state());
}

void CBCentralManagerAdapter::scanForPeripherals(const std::vector<std::string>& serviceUuids,
                                                 bool allowDuplicates) {
  centralManager_->scanForPeripherals(serviceUuids, allowDuplicates);
}

void CBCentralManagerAdapter::stopScan() { centralManager_->stopScan(); }

void CBCentralManagerAdapter::waitForPoweredOn(double timeout,
                                               std::function<void(bool poweredOn)> completion) {
  if (state() == CBManagerState::poweredOn) {
    completion(true);
    return;
  }
  std::weak_ptr<CBCentralManagerAdapter> weakSelf = weak_from_this();
  auto timer = mainQueue_->scheduleTimer(timeout, false, [weakSelf, completion](platform::Timer&) {
    auto self = weakSelf.lock();
    if (!self) return;
    self->stateUpdateHandler_ = nullptr;
    completion(self->state() == CBManagerState::poweredOn);
  });
  // The callback keeps the timer handle (a main queue need not keep it) and
  // treats a timer that has fired or was invalidated as gone.
  stateUpdateHandler_ = [weakSelf, timer, completion](CBManagerState state) {
    auto self = weakSelf.lock();
    if (!self || !timer->isValid() || state != CBManagerState::poweredOn) return;
    timer->invalidate();
    self->stateUpdateHandler_ = nullptr;
    completion(true);
  };
}

void CBCentralManagerAdapter::centralDidUpdateState(std::int64_t state) {
  // The handler may clear itself while it runs; call a copy.
  if (auto handler = stateUpdateHandler_) handler(static_cast<CBManagerState>(state));
  if (delegate_) delegate_->centralDidUpdateState(state);
}

void CBCentralManagerAdapter::centralDidDiscover(const platform::AdvertisementData& advertisement) {
  if (delegate_) delegate_->centralDidDiscover(advertisement);
}

}  // namespace lumora
