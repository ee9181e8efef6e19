#pragma once

#include <cstdlib>
#include <memory>

#include "platform/Platform.hpp"
#include "platform/sim/SimPlatform.hpp"

namespace lumora::fuzz {

/// A property every input must keep: a broken one aborts, which libFuzzer
/// reports as a finding (and the corpus replay as a failed test).
inline void check(bool condition) {
  if (!condition) std::abort();
}

/// Code that logs does so through the installed platform: a sim one, installed
/// once, whose records a target may clear after each input.
inline const std::shared_ptr<platform::SimPlatform>& simPlatform() {
  static const auto platform = [] {
    auto sim = std::make_shared<platform::SimPlatform>();
    platform::Platform::install(sim);
    return sim;
  }();
  return platform;
}

}  // namespace lumora::fuzz
