#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/ReachabilityService.hpp"

namespace lumora::platform {

/// Scripted reachability: one network state shared by every handle, which the
/// script may change at any time (handles read it when asked), and an optional
/// scripted failure to create handles.
class SimReachabilityService : public ReachabilityService {
 public:
  explicit SimReachabilityService(bool reachable = true);

  Created createWithAddress(const SocketAddress& address) override;

  /// The default route comes (true) or goes (false).
  void setReachable(bool reachable);
  bool isReachable() const;
  /// Every later creation fails with this error number (nothing: creation succeeds again).
  void failCreation(std::optional<std::int32_t> errorNumber);
  /// Makes every later flag read fail (or succeed again).
  void failFlagReads(bool fail);
  /// How many handles were created so far.
  std::int64_t createdCount() const;

 private:
  class Handle;
  struct State {
    std::atomic<bool> reachable;
    std::atomic<bool> failFlagReads{false};
  };

  std::shared_ptr<State> state_;
  std::atomic<std::int32_t> creationError_{0};
  std::atomic<std::int64_t> created_{0};
};

}  // namespace lumora::platform
