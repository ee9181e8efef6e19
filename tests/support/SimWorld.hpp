#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/util/LogLevel.hpp"
#include "platform/sim/SimPhone.hpp"
#include "platform/sim/VirtualClock.hpp"

namespace lumora::testing {

/// One simulated phone, installed as the process's platform for the duration
/// of a test, starting at 2023-11-14 22:13:20 UTC (kStartSeconds).
class SimWorld : public ::testing::Test {
 public:
  static constexpr double kStartSeconds = 1700000000.0;
  static constexpr const char* kInstallationId = "6BA7B810-9DAD-11D1-80B4-00C04FD430C8";

 protected:
  explicit SimWorld(platform::SimPhoneOptions options = {})
      : phone(startingNow(std::move(options))) {
    platform::Platform::install(platform);
  }
  ~SimWorld() override { platform::Platform::install(nullptr); }

  /// Options for a phone whose store already holds kInstallationId.
  static platform::SimPhoneOptions installed() {
    platform::SimPhoneOptions options;
    options.userDefaults = {{"LumoraBeaconSDK.UUID", kInstallationId}};
    return options;
  }
  static platform::TimePoint timeAt(double secondsSinceStart) {
    return platform::VirtualClock::fromSeconds(kStartSeconds + secondsSinceStart);
  }
  /// Runs the main queue for the given virtual seconds.
  void runFor(double seconds) { platform->virtualQueue->runFor(seconds); }
  /// Runs the main queue up to that many seconds since the start.
  void runUntil(double secondsSinceStart) { runFor(secondsSinceStart - this->secondsSinceStart()); }
  double secondsSinceStart() const {
    return std::chrono::duration<double>(platform->virtualClock->now().time_since_epoch()).count() -
           kStartSeconds;
  }
  /// Records whose message is exactly this, at this level, from this file and function.
  std::size_t countLogs(LogLevel level, const std::string& file, const std::string& function,
                        const std::string& message) const {
    const auto records = platform->log->records();
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(), [&](const auto& r) {
          return r.level == static_cast<std::int64_t>(level) && r.file == file &&
                 r.function == function && r.message == message;
        }));
  }
  /// Each record from this file, in order, as "LEVEL function: message".
  std::vector<std::string> logLines(const std::string& file) const {
    std::vector<std::string> lines;
    for (const auto& r : platform->log->records()) {
      if (r.file == file) lines.push_back(r.levelName + " " + r.function + ": " + r.message);
    }
    return lines;
  }

  platform::SimPhone phone;
  const std::shared_ptr<platform::SimPlatform> platform = phone.platform;

 private:
  static platform::SimPhoneOptions startingNow(platform::SimPhoneOptions options) {
    options.start = timeAt(0);
    return options;
  }
};

}  // namespace lumora::testing
