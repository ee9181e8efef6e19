#include "support/SimWorld.hpp"

#include "platform/sim/VirtualClock.hpp"

namespace lumora::testing {

SimWorld::SimWorld()
    : platform(std::make_shared<platform::SimPlatform>(
          platform::VirtualClock::fromSeconds(kStartSeconds))) {
  platform::Platform::install(platform);
}

SimWorld::~SimWorld() { platform::Platform::install(nullptr); }

void SimWorld::runFor(double seconds) { platform->virtualQueue->runFor(seconds); }

double SimWorld::secondsSinceStart() const {
  return std::chrono::duration<double>(platform->virtualClock->now().time_since_epoch()).count() -
         kStartSeconds;
}

}  // namespace lumora::testing
