#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "core/util/LogLevel.hpp"
#include "platform/sim/SimPhone.hpp"

namespace lumora::testing {

/// One simulated phone, installed as the process's platform for the duration
/// of a test, starting at 2023-11-14 22:13:20 UTC (kStartSeconds).
class SimWorld : public ::testing::Test {
 public:
  static constexpr double kStartSeconds = 1700000000.0;
  static constexpr const char* kInstallationId = "6BA7B810-9DAD-11D1-80B4-00C04FD430C8";

 protected:
  explicit SimWorld(platform::SimPhoneOptions options = {});
  ~SimWorld() override;

  /// Options for a phone whose store already holds kInstallationId.
  static platform::SimPhoneOptions installed();
  static platform::TimePoint timeAt(double secondsSinceStart);
  /// Runs the main queue for the given virtual seconds.
  void runFor(double seconds);
  /// Runs the main queue up to that many seconds since the start.
  void runUntil(double secondsSinceStart);
  double secondsSinceStart() const;
  /// Records whose message is exactly this, at this level, from this file and function.
  std::size_t countLogs(LogLevel level, const std::string& file, const std::string& function,
                        const std::string& message) const;
  /// Each record from this file, in order, as "LEVEL function: message".
  std::vector<std::string> logLines(const std::string& file) const;

  platform::SimPhone phone;
  const std::shared_ptr<platform::SimPlatform> platform = phone.platform;
};

}  // namespace lumora::testing
