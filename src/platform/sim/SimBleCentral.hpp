#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/BleCentral.hpp"
#include "platform/MainQueue.hpp"
#include "platform/sim/SimRadio.hpp"

namespace lumora::platform {

/// A Bluetooth LE central on the simulated air. Its state is scripted with
/// simulateStateChange(); while a scan runs and the state is poweredOn, every
/// advertisement it hears that carries one of the scan's services (any, for an
/// empty filter; compared as UUIDs, so "FEAA" matches its 128-bit form) is reported to the
/// delegate. Without allowDuplicates each peripheral is reported once per scan. Like a real radio,
/// a scan ends when the state leaves poweredOn, and a scan requested while not powered on does not
/// run. Delegate calls are posted to the main queue.
///
/// Every scanForPeripherals and stopScan call is recorded, also when it had no
/// effect, and handed to the optional scan observer.
///
///   auto central = std::make_shared<SimBleCentral>(queue, SimBleCentral::kPoweredOff);
///   radio->addReceiver(central);
///   central->simulateStateChange(SimBleCentral::kPoweredOn);
class SimBleCentral : public BleCentral, public SimRadioReceiver {
 public:
  static constexpr std::int64_t kUnknown = 0;
  static constexpr std::int64_t kResetting = 1;
  static constexpr std::int64_t kUnsupported = 2;
  static constexpr std::int64_t kUnauthorized = 3;
  static constexpr std::int64_t kPoweredOff = 4;
  static constexpr std::int64_t kPoweredOn = 5;

  /// One scanForPeripherals (start) or stopScan (stop) call.
  struct ScanRecord {
    enum class Action { start, stop };
    Action action = Action::start;
    std::vector<std::string> serviceUuids;  // start only
    bool allowDuplicates = false;           // start only

    friend bool operator==(const ScanRecord&, const ScanRecord&) = default;
  };
  using ScanObserver = std::function<void(const ScanRecord&)>;

  explicit SimBleCentral(std::shared_ptr<MainQueue> mainQueue, std::int64_t state = kPoweredOn);

  void setDelegate(std::weak_ptr<BleCentralDelegate> delegate) override;
  std::int64_t state() const override;
  void scanForPeripherals(const std::vector<std::string>& serviceUuids,
                          bool allowDuplicates) override;
  void stopScan() override;

  void receive(const AdvertisementData& advertisement) override;

  /// The radio's state becomes `state`; the delegate hears of it.
  void simulateStateChange(std::int64_t state);
  /// Whether a scan is running now.
  bool isScanning() const;
  const std::vector<ScanRecord>& scanRecords() const;
  void setScanObserver(ScanObserver observer);

 private:
  void record(ScanRecord scanRecord);
  bool matchesFilter(const AdvertisementData& advertisement) const;
  void deliver(std::function<void(BleCentralDelegate&)> call);

  const std::shared_ptr<MainQueue> mainQueue_;
  std::int64_t state_;
  std::weak_ptr<BleCentralDelegate> delegate_;
  bool scanning_ = false;
  std::vector<std::string> filter_;
  bool allowDuplicates_ = false;
  std::set<std::string> reportedPeripherals_;
  std::vector<ScanRecord> scanRecords_;
  ScanObserver scanObserver_;
};

}  // namespace lumora::platform
