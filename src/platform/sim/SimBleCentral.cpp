#include "platform/sim/SimBleCentral.hpp"

#include <strings.h>
#include <algorithm>

#include "core/util/Uuid.hpp"

namespace lumora::platform {
namespace {

// Service UUIDs are the same when they denote the same UUID, whatever the
// form ("FEAA" and its 128-bit form); texts that are no UUID compare as text.
bool sameService(const std::string& wanted, const std::string& offered) {
  const auto wantedUuid = Uuid::parseBluetooth(wanted);
  const auto offeredUuid = Uuid::parseBluetooth(offered);
  if (wantedUuid && offeredUuid) return *wantedUuid == *offeredUuid;
  return strcasecmp(wanted.c_str(), offered.c_str()) == 0;
}

}  // namespace

SimBleCentral::SimBleCentral(std::shared_ptr<MainQueue> mainQueue, std::int64_t state)
    : mainQueue_(std::move(mainQueue)), state_(state) {}

void SimBleCentral::setDelegate(std::weak_ptr<BleCentralDelegate> delegate) {
  delegate_ = std::move(delegate);
}

std::int64_t SimBleCentral::state() const { return state_; }

void SimBleCentral::scanForPeripherals(const std::vector<std::string>& serviceUuids,
                                       bool allowDuplicates) {
  record({ScanRecord::Action::start, serviceUuids, allowDuplicates});
  scanning_ = state_ == kPoweredOn;
  filter_ = serviceUuids;
  allowDuplicates_ = allowDuplicates;
  reportedPeripherals_.clear();
}

void SimBleCentral::stopScan() {
  record({ScanRecord::Action::stop, {}, false});
  scanning_ = false;
}

void SimBleCentral::receive(const AdvertisementData& advertisement) {
  if (!scanning_ || !matchesFilter(advertisement)) return;
  if (!allowDuplicates_ && !reportedPeripherals_.insert(advertisement.peripheralId).second) return;
  deliver([advertisement](BleCentralDelegate& d) { d.centralDidDiscover(advertisement); });
}

void SimBleCentral::simulateStateChange(std::int64_t state) {
  state_ = state;
  if (state != kPoweredOn) scanning_ = false;
  deliver([state](BleCentralDelegate& d) { d.centralDidUpdateState(state); });
}

bool SimBleCentral::isScanning() const { return scanning_; }

const std::vector<SimBleCentral::ScanRecord>& SimBleCentral::scanRecords() const {
  return scanRecords_;
}

void SimBleCentral::setScanObserver(ScanObserver observer) { scanObserver_ = std::move(observer); }

void SimBleCentral::record(ScanRecord scanRecord) {
  scanRecords_.push_back(scanRecord);
  if (scanObserver_) scanObserver_(scanRecords_.back());
}

bool SimBleCentral::matchesFilter(const AdvertisementData& advertisement) const {
  if (filter_.empty()) return true;
  return std::any_of(filter_.begin(), filter_.end(), [&](const std::string& wanted) {
    return std::any_of(advertisement.serviceUuids.begin(), advertisement.serviceUuids.end(),
                       [&](const std::string& offered) { return sameService(wanted, offered); });
  });
}

void SimBleCentral::deliver(std::function<void(BleCentralDelegate&)> call) {
  mainQueue_->post([target = delegate_, call = std::move(call)] {
    if (auto delegate = target.lock()) call(*delegate);
  });
}

}  // namespace lumora::platform
