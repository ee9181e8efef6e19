// The per-advertisement path of custom-beacon detection: from the central's
// discovery callback (the central adapter's platform delegate method) through
// the manufacturer-data parser, the iBeacon gate and the deduplicator. Log
// lines are formatted in full and then discarded, so the figures leave out
// the cost of the output device. BM_ParseAndLookupReference (in
// FoundationBenchmark.cpp) is the floor these are compared with.

#include <benchmark/benchmark.h>

#include <memory>

#include "core/beacon/AppleBeaconScanner.hpp"
#include "core/beacon/BeaconManager.hpp"
#include "core/beacon/CBCentralManagerAdapter.hpp"
#include "core/beacon/CustomBeaconScanner.hpp"
#include "core/beacon/LocationManagerAdapter.hpp"
#include "core/util/LumoraLogger.hpp"
#include "platform/sim/SimBleCentral.hpp"
#include "platform/sim/SimLocationService.hpp"
#include "platform/sim/SimPlatform.hpp"
#include "platform/sim/SimRadio.hpp"

namespace lumora {
namespace {

constexpr const char* kRegionUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
constexpr const char* kServiceUuid = "0000FD6F-0000-1000-8000-00805F9B34FB";

class DiscardingSystemLog : public platform::SystemLog {
 public:
  void write(const platform::LogRecord& record) override {
    benchmark::DoNotOptimize(record.text.data());
  }
};

class QuietSimPlatform : public platform::SimPlatform {
 public:
  std::shared_ptr<platform::SystemLog> systemLog() override { return discarding; }
  std::shared_ptr<platform::SystemLog> discarding = std::make_shared<DiscardingSystemLog>();
};

// The detection chain on the sim platform, built in the facade's order.
class DetectionChain {
 public:
  DetectionChain() {
    platform::Platform::install(platform);
    auto central = std::make_shared<platform::SimBleCentral>(platform->virtualQueue);
    auto location =
        platform::SimLocationService::create(platform->virtualQueue, platform->virtualClock, 3);
    const BeaconSettings settings{kRegionUuid, "bench-region", kServiceUuid};
    auto locationAdapter = LocationManagerAdapter::create(location);
    appleScanner = AppleBeaconScanner::create(locationAdapter, settings);
    centralAdapter = CBCentralManagerAdapter::create(central, platform->virtualQueue);
    auto customScanner = CustomBeaconScanner::create(centralAdapter, locationAdapter, settings);
    manager = BeaconManager::create(appleScanner, customScanner, settings, platform->virtualQueue,
                                    platform->virtualClock);
    manager->startScanning(nullptr);
  }
  ~DetectionChain() { platform::Platform::install(nullptr); }

  void openGate() {
    appleScanner->didEnterRegion(BeaconRegion(*Uuid::parse(kRegionUuid), "bench-region"));
  }

  std::shared_ptr<QuietSimPlatform> platform = std::make_shared<QuietSimPlatform>();
  std::shared_ptr<AppleBeaconScanner> appleScanner;
  std::shared_ptr<CBCentralManagerAdapter> centralAdapter;
  std::shared_ptr<BeaconManager> manager;
};

const platform::AdvertisementData kCustomBeacon =
    platform::SimRadio::customBeaconAdvertisement("0a1b2c3d4e5f6071", 300, kServiceUuid);

// A beacon already reported within 30 s: parsed, let through the open gate,
// found by the deduplicator and logged as a duplicate.
void BM_DuplicateCustomBeacon(benchmark::State& state) {
  DetectionChain chain;
  chain.openGate();
  chain.centralAdapter->centralDidDiscover(kCustomBeacon);
  for (auto _ : state) chain.centralAdapter->centralDidDiscover(kCustomBeacon);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DuplicateCustomBeacon);

// The same duplicate with debug lines filtered out: its line is never built.
void BM_DuplicateCustomBeaconDebugFiltered(benchmark::State& state) {
  DetectionChain chain;
  chain.openGate();
  chain.centralAdapter->centralDidDiscover(kCustomBeacon);
  LumoraLogger::shared().setMinimumLevel(LumoraLogLevel::info);
  for (auto _ : state) chain.centralAdapter->centralDidDiscover(kCustomBeacon);
  LumoraLogger::shared().setMinimumLevel(LumoraLogLevel::debug);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DuplicateCustomBeaconDebugFiltered);

// A custom beacon while no iBeacon has opened the gate: parsed, then dropped.
void BM_CustomBeaconGateClosed(benchmark::State& state) {
  DetectionChain chain;
  for (auto _ : state) chain.centralAdapter->centralDidDiscover(kCustomBeacon);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CustomBeaconGateClosed);

// Someone else's advertisement: rejected by the parser after two bytes.
void BM_ForeignAdvertisement(benchmark::State& state) {
  DetectionChain chain;
  chain.openGate();
  const auto foreign = platform::SimRadio::iBeaconAdvertisement(kRegionUuid, 1, 2);
  for (auto _ : state) chain.centralAdapter->centralDidDiscover(foreign);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ForeignAdvertisement);

}  // namespace
}  // namespace lumora
