#include <algorithm>
#include <chrono>
#include <mutex>
#include <optional>

#include "LinuxSdkWorld.hpp"
#include "platform/ble/BleLocationService.hpp"
#include "platform/ble/IBeaconFrame.hpp"
#include "platform/linux/BluezCentral.hpp"

// How long after the last iBeacon the custom-beacon scan stops on the real
// Linux platform, with BlueZ delivering the iBeacon by its advertisement
// monitor. Runs in real time on the mock bus.
namespace lumora::testing {
namespace {

using SteadyClock = std::chrono::steady_clock;
using Instant = SteadyClock::time_point;

constexpr const char* kGateClosedLine = "iBeacon timeout reached, stopped custom beacon scanning";
using test::idle;
using test::until;

constexpr double kOnAirSeconds = 5.0;  // through two refreshes of the advertisement monitor
// The gate closes at the first once-a-second check finding more than 10 s of
// silence; a report lists what BlueZ reported within the last second more.
constexpr double kGateSeconds = 10.0;
constexpr double kRangingGraceSeconds = 1.0;
constexpr double kDiscoveryCloseBound = 12.0;
constexpr double kLoadSlack = 1.0;  // a busy machine delays timers

double secondsBetween(Instant from, Instant to) {
  return std::chrono::duration<double>(to - from).count();
}

/// What the SDK saw, with real times: each iBeacon report reaching the
/// location service (main thread) and the gate closing (any logging thread).
/// Passes every log line on to `next`, asking for debug lines whatever the
/// environment says.
class GateLog : public platform::SystemLog {
 public:
  void write(const platform::LogRecord& line) override {
    if (line.message == kGateClosedLine) {
      std::lock_guard lock(mutex_);
      if (!closedAt_) closedAt_ = SteadyClock::now();
    }
    next->write(line);
  }
  std::optional<std::string> requestedLevel() const override { return "debug"; }
  std::optional<Instant> closed() {
    std::lock_guard lock(mutex_);
    return closedAt_;
  }

  std::shared_ptr<platform::SystemLog> next;
  std::vector<Instant> iBeaconReports;

 private:
  std::mutex mutex_;
  std::optional<Instant> closedAt_;
};

/// The Linux platform with the central's advertisements to the location
/// service and the log observed.
class ObservedLinuxPlatform : public platform::LinuxPlatform {
 public:
  ObservedLinuxPlatform(const platform::LinuxPlatformOptions& options, std::shared_ptr<GateLog> log)
      : LinuxPlatform(options), log_(std::move(log)) {
    log_->next = LinuxPlatform::systemLog();
  }

  std::shared_ptr<platform::SystemLog> systemLog() override { return log_; }

  std::shared_ptr<platform::LocationService> locationService() override {
    auto service = LinuxPlatform::locationService();
    std::call_once(tapped_, [&] {
      auto central = std::static_pointer_cast<platform::BluezCentral>(bleCentral());
      central->setAdvertisementMonitor(
          [log = log_,
           target = std::weak_ptr(std::static_pointer_cast<platform::BleLocationService>(service))](
              const platform::AdvertisementData& advertisement) {
            const auto& data = advertisement.manufacturerData;
            if (data && platform::IBeaconFrame::parse(*data)) {
              log->iBeaconReports.push_back(SteadyClock::now());
            }
            if (auto location = target.lock()) location->onAdvertisement(advertisement);
          });
    });
    return service;
  }

 private:
  const std::shared_ptr<GateLog> log_;
  std::once_flag tapped_;
};

class GateTimingTest : public LinuxSdkWorld {
 protected:
  std::shared_ptr<platform::LinuxPlatform> makePlatform(
      const platform::LinuxPlatformOptions& options) override {
    return std::make_shared<ObservedLinuxPlatform>(options, gate);
  }

  std::shared_ptr<GateLog> gate = std::make_shared<GateLog>();
};

TEST_F(GateTimingTest, CustomScanStopsTenToTwelveSecondsAfterTheLastIBeaconReport) {
  const platform::BluezCentral::Options shipped;
  bluez->addMonitorManager();
  startSdk();
  ASSERT_TRUE(until([&] { return callsNamed("onInitialized") == 1; }));
  ASSERT_TRUE(until([&] { return !bluez->registeredRoots().empty(); }));
  const auto monitors = bluez->monitorsAt(bluez->registeredRoots().back());
  ASSERT_EQ(monitors.size(), 1u);

  // The beacon's advertisement appears, the monitor finds it a second later
  // and, unchanged, it causes no further signal until it goes off the air;
  // bluetoothd reports it lost after the monitor's lost timeout.
  const auto onAir = SteadyClock::now();
  const auto device = advertiseIBeacon("AA:BB:CC:00:00:21");
  idle(1.0);
  bluez->callMonitor(monitors.front().path, "DeviceFound", device);
  idle(kOnAirSeconds - secondsBetween(onAir, SteadyClock::now()));
  const auto lastOnAir = SteadyClock::now();
  idle(shipped.monitorLostAfterSeconds);
  bluez->callMonitor(monitors.front().path, "DeviceLost", device);
  ASSERT_TRUE(until([&] { return gate->closed().has_value(); }, std::chrono::seconds(45)));

  ASSERT_FALSE(gate->iBeaconReports.empty());
  const auto closedAt = *gate->closed();
  const double sinceLastReport = secondsBetween(gate->iBeaconReports.back(), closedAt);
  EXPECT_GE(sinceLastReport, kGateSeconds);
  EXPECT_LE(sinceLastReport, kDiscoveryCloseBound + kLoadSlack);
  // The last advertisement on the air is repeated until bluetoothd reports
  // the device lost, at most one refresh later.
  EXPECT_LE(secondsBetween(lastOnAir, closedAt), shipped.monitorLostAfterSeconds +
                                                     shipped.monitorRefreshSeconds + kGateSeconds +
                                                     kRangingGraceSeconds + kLoadSlack)
      << "scan stopped " << sinceLastReport << " s after the last of "
      << gate->iBeaconReports.size() << " iBeacon reports";
}

}  // namespace
}  // namespace lumora::testing
