#include "platform/sim/SimPlatform.hpp"

namespace lumora::platform {

SimPlatform::SimPlatform(TimePoint start)
    : virtualClock(std::make_shared<VirtualClock>(start)),
      virtualQueue(std::make_shared<VirtualMainQueue>(virtualClock)),
      log(std::make_shared<RecordingSystemLog>()),
      bundle(std::make_shared<MemoryResourceBundle>()) {}

}  // namespace lumora::platform
