#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace lumora::platform {

/// A reachability handle for one address. Answers synchronously.
class ReachabilityHandle {
 public:
  static constexpr std::uint32_t kReachable = 2;

  virtual ~ReachabilityHandle() = default;
  /// The current flags, or nothing when they cannot be read.
  virtual std::optional<std::uint32_t> flags() const = 0;
};

/// Makes reachability handles.
class ReachabilityService {
 public:
  using SocketAddress = std::array<std::uint8_t, 16>;
  struct Created {
    std::unique_ptr<ReachabilityHandle> handle;  // absent on failure
    std::int32_t errorNumber = 0;                // set on failure
  };

  virtual ~ReachabilityService() = default;
  virtual Created createWithAddress(const SocketAddress& address) = 0;
};

}  // namespace lumora::platform
