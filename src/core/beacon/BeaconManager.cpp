#include "core/beacon/BeaconManager.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <string_view>

#include "core/util/LumoraLogger.hpp"

namespace lumora {
namespace {

constexpr std::string_view kLogFile = "BeaconManager";

constexpr std::size_t kSightingTextCapacity = 160;
using SightingText = std::array<char, kSightingTextCapacity>;

/// "<prefix>companyId=4660, spaceId=0a1b2c3d4e5f6071, bindingId=300", built
/// in `text` without touching the heap, since it runs for every duplicate
/// sighting. The buffer holds the longest prefix and any two 64-bit numbers.
std::string_view describe(std::string_view prefix, const BeaconIdentity& beacon,
                          SightingText& text) {
  char* out = text.data();
  const auto put = [&out](std::string_view part) {
    out = std::copy(part.begin(), part.end(), out);
  };
  const auto putNumber = [&out, &text](std::int64_t number) {
    out = std::to_chars(out, text.data() + text.size(), number).ptr;
  };
  put(prefix);
  put("companyId=");
  putNumber(beacon.companyId);
  put(", spaceId=");
  beacon.writeSpaceId(
      std::span<char, BeaconIdentity::kSpaceIdLength>(out, BeaconIdentity::kSpaceIdLength));
  out += BeaconIdentity::kSpaceIdLength;
  put(", bindingId=");
  putNumber(beacon.bindingId);
  return {text.data(), static_cast<std::size_t>(out - text.data())};
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

BeaconManager::~BeaconManager() {
  appleBeaconScanner_->setOnBeaconDetected(nullptr);
  customBeaconScanner_->setOnBeaconDetected(nullptr);
}

bool BeaconManager::isScanning() const noexcept { return isScanning_; }

void BeaconManager::setIsScanning(bool isScanning) noexcept { isScanning_ = isScanning; }

void BeaconManager::setListener(std::shared_ptr<BeaconListener> listener) {
  listener_ = std::move(listener);
}

void BeaconManager::setupBeaconCallbacks() {
  // The destructor removes both handlers, so `this` is alive whenever they run.
  appleBeaconScanner_->setOnBeaconDetected([this] { onIBeaconDetected(); });
  customBeaconScanner_->setOnBeaconDetected(
      [this](const BeaconIdentity& beacon) { onCustomBeaconDetected(beacon); });
}

void BeaconManager::onIBeaconDetected() {
  iBeaconDetected_ = true;
  lastDetectedIBeaconTimestamp_ = clock_->now();
  if (!customBeaconScanner_->isScanning()) customBeaconScanner_->startScanning(nullptr);
}

void BeaconManager::onCustomBeaconDetected(const BeaconIdentity& beacon) {
  if (!iBeaconDetected_) return;
  SightingText text;
  if (beaconDeduplicator_.contains(beacon)) {
    LUMORA_LOG(LogLevel::debug, kLogFile, "setupBeaconCallbacks()",
               describe("Skipping duplicate beacon data: ", beacon, text));
    return;
  }
  beaconDeduplicator_.add(beacon);
  LUMORA_LOG(LogLevel::debug, kLogFile, "setupBeaconCallbacks()",
             describe("Processing beacon data: ", beacon, text));
  if (listener_) listener_->onBeaconDetected(beacon.companyId, beacon.spaceId(), beacon.bindingId);
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
