#include "support/SimWorld.hpp"

#include <algorithm>

#include "platform/sim/VirtualClock.hpp"

namespace lumora::testing {
namespace {

platform::SimPhoneOptions startingNow(platform::SimPhoneOptions options) {
  options.start = platform::VirtualClock::fromSeconds(SimWorld::kStartSeconds);
  return options;
}

}  // namespace

SimWorld::SimWorld(platform::SimPhoneOptions options) : phone(startingNow(std::move(options))) {
  platform::Platform::install(platform);
}

SimWorld::~SimWorld() { platform::Platform::install(nullptr); }

platform::SimPhoneOptions SimWorld::installed() {
  platform::SimPhoneOptions options;
  options.userDefaults = {{"LumoraBeaconSDK.UUID", kInstallationId}};
  return options;
}

platform::TimePoint SimWorld::timeAt(double secondsSinceStart) {
  return platform::VirtualClock::fromSeconds(kStartSeconds + secondsSinceStart);
}

void SimWorld::runFor(double seconds) { platform->virtualQueue->runFor(seconds); }

void SimWorld::runUntil(double secondsSinceStart) {
  runFor(secondsSinceStart - this->secondsSinceStart());
}

double SimWorld::secondsSinceStart() const {
  return std::chrono::duration<double>(platform->virtualClock->now().time_since_epoch()).count() -
         kStartSeconds;
}

std::size_t SimWorld::countLogs(LogLevel level, const std::string& file,
                                const std::string& function, const std::string& message) const {
  const auto records = platform->log->records();
  return static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [&](const auto& r) {
    return r.level == static_cast<std::int64_t>(level) && r.file == file &&
           r.function == function && r.message == message;
  }));
}

std::vector<std::string> SimWorld::logLines(const std::string& file) const {
  std::vector<std::string> lines;
  for (const auto& r : platform->log->records()) {
    if (r.file == file) lines.push_back(r.levelName + " " + r.function + ": " + r.message);
  }
  return lines;
}

}  // namespace lumora::testing
