#pragma once

#include <functional>
#include <memory>

#include "core/beacon/CBCentralManagerProtocol.hpp"
#include "platform/BleCentral.hpp"
#include "platform/MainQueue.hpp"

namespace lumora {

/// The library's Bluetooth central on top of the platform's. It is the
/// platform central's delegate for good and forwards every event to its own
/// delegate; it adds waitForPoweredOn, a bounded wait for a usable radio.
///
/// Waits may overlap. Each installs its state callback in place of the one
/// before, and each timer, when it fires, removes whatever state callback is
/// installed then; so while several waits are pending only the newest can end
/// early on a poweredOn report, the others end by their timers, and every wait
/// completes exactly once.
///
///   auto central = CBCentralManagerAdapter::create(platform->bleCentral(),
///                                                  platform->mainQueue());
///   central->waitForPoweredOn(2.0, [](bool on) { ... });
class CBCentralManagerAdapter final : public CBCentralManagerProtocol,
                                      public platform::BleCentralDelegate,
                                      public std::enable_shared_from_this<CBCentralManagerAdapter> {
 public:
  /// Makes the adapter the platform central's delegate.
  static std::shared_ptr<CBCentralManagerAdapter> create(
      std::shared_ptr<platform::BleCentral> centralManager,
      std::shared_ptr<platform::MainQueue> mainQueue,
      std::shared_ptr<platform::BleCentralDelegate> delegate = nullptr);

  std::shared_ptr<platform::BleCentralDelegate> delegate() const override;
  void setDelegate(std::shared_ptr<platform::BleCentralDelegate> delegate) override;
  CBManagerState state() const override;
  void scanForPeripherals(const std::vector<std::string>& serviceUuids,
                          bool allowDuplicates) override;
  void stopScan() override;
  /// Powered on now: completes at once, before returning. Otherwise a one-shot
  /// main-queue timer of `timeout` seconds completes with the state at that
  /// moment, unless a poweredOn report completes it with true first.
  void waitForPoweredOn(double timeout, std::function<void(bool poweredOn)> completion) override;

  /// Runs a pending wait's state callback first, then tells the delegate.
  void centralDidUpdateState(std::int64_t state) override;
  void centralDidDiscover(const platform::AdvertisementData& advertisement) override;

 private:
  CBCentralManagerAdapter(std::shared_ptr<platform::BleCentral> centralManager,
                          std::shared_ptr<platform::MainQueue> mainQueue,
                          std::shared_ptr<platform::BleCentralDelegate> delegate);

  const std::shared_ptr<platform::BleCentral> centralManager_;
  const std::shared_ptr<platform::MainQueue> mainQueue_;
  std::function<void(CBManagerState)> stateUpdateHandler_;
  std::shared_ptr<platform::BleCentralDelegate> delegate_;
};

}  // namespace lumora
