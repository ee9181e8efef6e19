#include "core/util/Reachability.hpp"

#include <system_error>
#include <utility>

namespace lumora {
namespace {

std::unique_ptr<platform::ReachabilityHandle> createHandle(platform::ReachabilityService* service) {
  if (!service) {
    throw ReachabilityError::failedToCreateWithAddress(
        Reachability::kProbeAddress, static_cast<std::int32_t>(std::errc::function_not_supported));
  }
  auto created = service->createWithAddress(Reachability::kProbeAddress);
  if (!created.handle) {
    throw ReachabilityError::failedToCreateWithAddress(Reachability::kProbeAddress,
                                                       created.errorNumber);
  }
  return std::move(created.handle);
}

}  // namespace

Reachability::Reachability(std::shared_ptr<platform::ReachabilityService> service)
    : reachabilityRef_(createHandle(service.get())) {}

bool Reachability::isConnected() const {
  const auto flags = reachabilityRef_->flags();
  return flags && (*flags & platform::ReachabilityHandle::kReachable) != 0;
}

}  // namespace lumora
