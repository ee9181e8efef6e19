#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/sim/SimBleCentral.hpp"
#include "platform/sim/SimRadio.hpp"
#include "support/SimWorld.hpp"

namespace lumora::platform {
namespace {

constexpr const char* kService = "0000FD6F-0000-1000-8000-00805F9B34FB";

class RecordingCentralDelegate : public BleCentralDelegate {
 public:
  void centralDidUpdateState(std::int64_t state) override { states.push_back(state); }
  void centralDidDiscover(const AdvertisementData& ad) override { seen.push_back(ad.peripheralId); }
  std::vector<std::int64_t> states;
  std::vector<std::string> seen;
};

class SimCentral : public testing::SimWorld {
 protected:
  SimCentral() {
    central->setDelegate(delegate);
    central->setScanObserver([this](const SimBleCentral::ScanRecord& r) { observed.push_back(r); });
  }
  const std::shared_ptr<SimRadio> radio = phone.radio;
  const std::shared_ptr<SimBleCentral> central = phone.central;
  std::shared_ptr<RecordingCentralDelegate> delegate = std::make_shared<RecordingCentralDelegate>();
  std::vector<SimBleCentral::ScanRecord> observed;
  AdvertisementData beacon = SimRadio::customBeaconAdvertisement(
      "0a1b2c3d4e5f6071", 300, "0000fd6f-0000-1000-8000-00805f9b34fb");
};

TEST_F(SimCentral, ReportsOnlyTheScannedServicesComparedAsUuidsWhateverTheirForm) {
  auto shortForm = beacon;
  shortForm.serviceUuids = {"fd6f"};
  shortForm.peripheralId = "short";
  auto other = beacon;
  other.serviceUuids = {"0000FEAA-0000-1000-8000-00805F9B34FB"};
  other.peripheralId = "other";
  central->scanForPeripherals({"FD6F"}, true);
  for (const auto& ad : {beacon, shortForm, other, beacon}) radio->transmit(ad);
  EXPECT_TRUE(delegate->seen.empty());  // posted to the main queue
  runFor(0);
  EXPECT_EQ(delegate->seen,
            (std::vector<std::string>{beacon.peripheralId, "short", beacon.peripheralId}));
}

TEST_F(SimCentral, WithoutDuplicatesEachPeripheralOncePerScan) {
  central->scanForPeripherals({kService}, false);
  radio->transmitEvery(beacon, 1.0, timeAt(3));
  runFor(5.0);
  central->scanForPeripherals({kService}, false);
  radio->transmit(beacon);
  runFor(0);
  EXPECT_EQ(delegate->seen.size(), 2u);
}

TEST_F(SimCentral, TheScanEndsWhenTheRadioGoesOffAndEveryCallIsRecorded) {
  central->scanForPeripherals({kService}, true);
  central->simulateStateChange(SimBleCentral::kPoweredOff);
  radio->transmit(beacon);
  central->scanForPeripherals({kService}, true);  // not powered: recorded, not run
  EXPECT_FALSE(central->isScanning());
  central->stopScan();
  runFor(0);
  EXPECT_TRUE(delegate->seen.empty());
  EXPECT_EQ(delegate->states, std::vector<std::int64_t>{SimBleCentral::kPoweredOff});
  using Action = SimBleCentral::ScanRecord::Action;
  const std::vector<SimBleCentral::ScanRecord> expected{{Action::start, {kService}, true},
                                                        {Action::start, {kService}, true},
                                                        {Action::stop, {}, false}};
  EXPECT_EQ(central->scanRecords(), expected);
  EXPECT_EQ(observed, expected);
}

}  // namespace
}  // namespace lumora::platform
