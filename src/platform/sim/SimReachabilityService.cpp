#include "platform/sim/SimReachabilityService.hpp"

#include <utility>

namespace lumora::platform {
class SimReachabilityService::Handle : public ReachabilityHandle {
 public:
  explicit Handle(std::shared_ptr<const State> state) : state_(std::move(state)) {}

  std::optional<std::uint32_t> flags() const override {
    if (state_->failFlagReads.load()) return std::nullopt;
    return state_->reachable.load() ? kReachable : 0u;
  }

 private:
  std::shared_ptr<const State> state_;
};

SimReachabilityService::SimReachabilityService(bool reachable) : state_(std::make_shared<State>()) {
  state_->reachable.store(reachable);
}

ReachabilityService::Created SimReachabilityService::createWithAddress(const SocketAddress&) {
  if (const std::int32_t error = creationError_.load(); error != 0) {
    return Created{nullptr, error};
  }
  created_.fetch_add(1);
  return Created{std::make_unique<Handle>(state_), 0};
}

void SimReachabilityService::setReachable(bool reachable) { state_->reachable.store(reachable); }

bool SimReachabilityService::isReachable() const { return state_->reachable.load(); }

void SimReachabilityService::failCreation(std::optional<std::int32_t> errorNumber) {
  creationError_.store(errorNumber.value_or(0));
}

void SimReachabilityService::failFlagReads(bool fail) { state_->failFlagReads.store(fail); }

std::int64_t SimReachabilityService::createdCount() const { return created_.load(); }

}  // namespace lumora::platform
