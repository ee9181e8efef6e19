#include "core/beacon/BeaconManager.hpp"

#include <string>
#include <string_view>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "BeaconManager";

/// Built in one allocation with room for the caller's prefix, since it runs
/// for every duplicate sighting.
std::string describe(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId) {
  std::string text;
  text.reserve(96);
  text.append("companyId=").append(std::to_string(companyId));
  text.append(", spaceId=").append(spaceId);
  text.append(", bindingId=").append(std::to_string(bindingId));
  return text;
}

}  // namespace

std::shared_ptr<BeaconManager> BeaconManager::create(
    std::shared_ptr<AppleBeaconScanner> appleBeaconScanner,
    std::shared_ptr<CustomBeaconScanner> customBeaconScanner, BeaconSettings beaconSettings,
    std::shared_ptr<platform::MainQueue> mainQueue, std::shared_ptr<platform::Clock> clock) {
  auto manager = std::shared_ptr<BeaconManager>(
      new BeaconManager(std::move(appleBeaconScanner), std::move(customBeaconScanner),
                        std::move(beaconSettings), std::move(mainQueue), std::move(clock)));
  manager->setupBeaconCallbacks();
  return manager;
}

BeaconManager::BeaconManager(std::shared_ptr<AppleBeaconScanner> appleBeaconScanner,
                             std::shared_ptr<CustomBeaconScanner> customBeaconScanner,
                             BeaconSettings beaconSettings,
                             std::shared_ptr<platform::MainQueue> mainQueue,
                             std::shared_ptr<platform::Clock> clock)
    : appleBeaconScanner_(std::move(appleBeaconScanner)),
      customBeaconScanner_(std::move(customBeaconScanner)),
      beaconSettings_(std::move(beaconSettings)),
      mainQueue_(std::move(mainQueue)),
      clock_(std::move(clock)),
      beaconDeduplicator_(kDeduplicationInterval, clock_) {}

bool BeaconManager::isScanning() const noexcept { return isScanning_; }

void BeaconManager::setIsScanning(bool isScanning) noexcept { isScanning_ = isScanning; }

void BeaconManager::setListener(std::shared_ptr<BeaconListener> listener) {
  listener_ = std::move(listener);
}

void BeaconManager::setupBeaconCallbacks() {
  std::weak_ptr<BeaconManager> weakSelf = weak_from_this();
  appleBeaconScanner_->setOnBeaconDetected([weakSelf] {
    if (auto self = weakSelf.lock()) self->onIBeaconDetected();
  });
  customBeaconScanner_->setOnBeaconDetected(
      [weakSelf](std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId) {
        if (auto self = weakSelf.lock())
          self->onCustomBeaconDetected(companyId, spaceId, bindingId);
      });
}

void BeaconManager::onIBeaconDetected() {
  iBeaconDetected_ = true;
  lastDetectedIBeaconTimestamp_ = clock_->now();
  if (!customBeaconScanner_->isScanning()) customBeaconScanner_->startScanning(nullptr);
}

void BeaconManager::onCustomBeaconDetected(std::int64_t companyId, const std::string& spaceId,
                                           std::int64_t bindingId) {
  if (!iBeaconDetected_) return;
  if (beaconDeduplicator_.contains(companyId, spaceId, bindingId)) {
    LUMORA_LOG(LogLevel::debug, kLogFile, "setupBeaconCallbacks()",
               "Skipping duplicate beacon data: " + describe(companyId, spaceId, bindingId));
    return;
  }
  beaconDeduplicator_.add(companyId, spaceId, bindingId);
  LUMORA_LOG(LogLevel::debug, kLogFile, "setupBeaconCallbacks()",
             "Processing beacon data: " + describe(companyId, spaceId, bindingId));
  if (listener_) listener_->onBeaconDetected(companyId, spaceId, bindingId);
}

void BeaconManager::startScanning(AbstractBeaconScanner::Completion completion) {
  if (isScanning_) {
    if (completion) completion(true, std::nullopt);
    return;
  }
  std::weak_ptr<BeaconManager> weakSelf = weak_from_this();
  appleBeaconScanner_->startScanning(
      [weakSelf, completion](bool success, const std::optional<LumoraAdBeaconError>& error) {
        auto self = weakSelf.lock();
        if (!self) return;
        if (!success) {
          self->isScanning_ = false;
          if (error && completion) completion(false, error);
          return;
        }
        self->isScanning_ = true;
        self->startCleanupTimer();
        self->startIBeaconTimeoutTimer();
        if (completion) completion(true, std::nullopt);
      });
}

void BeaconManager::stopScanning() {
  if (!isScanning_) return;
  appleBeaconScanner_->stopScanning();
  customBeaconScanner_->stopScanning();
  beaconDeduplicator_.clearAll();
  invalidate(cleanupTimer_);
  invalidate(iBeaconTimeoutTimer_);
  isScanning_ = false;
  iBeaconDetected_ = false;
}

void BeaconManager::startCleanupTimer() {
  invalidate(cleanupTimer_);
  std::weak_ptr<BeaconManager> weakSelf = weak_from_this();
  cleanupTimer_ = mainQueue_->scheduleTimer(kCleanupInterval, true, [weakSelf](platform::Timer&) {
    if (auto self = weakSelf.lock()) self->beaconDeduplicator_.clearExpired();
    LUMORA_LOG(LogLevel::debug, kLogFile, "startCleanupTimer()",
               "Cleared expired beacon deduplicator entries");
  });
}

void BeaconManager::startIBeaconTimeoutTimer() {
  invalidate(iBeaconTimeoutTimer_);
  std::weak_ptr<BeaconManager> weakSelf = weak_from_this();
  iBeaconTimeoutTimer_ =
      mainQueue_->scheduleTimer(kTimeoutTickInterval, true, [weakSelf](platform::Timer&) {
        if (auto self = weakSelf.lock()) self->onIBeaconTimeoutTick();
      });
}

void BeaconManager::onIBeaconTimeoutTick() {
  if (!lastDetectedIBeaconTimestamp_ || !iBeaconDetected_) return;
  const double elapsed =
      std::chrono::duration<double>(clock_->now() - *lastDetectedIBeaconTimestamp_).count();
  if (elapsed <= kIBeaconTimeout) return;
  iBeaconDetected_ = false;
  customBeaconScanner_->stopScanning();
  LUMORA_LOG(LogLevel::debug, kLogFile, "startIBeaconTimeoutTimer()",
             "iBeacon timeout reached, stopped custom beacon scanning");
}

void BeaconManager::invalidate(std::shared_ptr<platform::Timer>& timer) {
  if (timer) timer->invalidate();
  timer.reset();
}

}  // namespace lumora
