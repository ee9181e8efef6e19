#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/sim/SimPlatform.hpp"

namespace lumora::testing {

/// A test fixture with its own sim platform, installed as the process's
/// platform for the duration of the test, starting at 2023-11-14 22:13:20 UTC.
class SimWorld : public ::testing::Test {
 protected:
  static constexpr double kStartSeconds = 1700000000.0;

  SimWorld();
  ~SimWorld() override;

  /// Runs the main queue for the given virtual seconds.
  void runFor(double seconds);
  double secondsSinceStart() const;

  std::shared_ptr<platform::SimPlatform> platform;
};

}  // namespace lumora::testing
