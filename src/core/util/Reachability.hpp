#pragma once

#include <memory>

#include "lumora/ReachabilityError.hpp"
#include "platform/ReachabilityService.hpp"

namespace lumora {

/// A one-shot connectivity probe: does the device have a route to the network
/// at all? Create one, read isConnected() once, drop it. Use it on the thread
/// that created it.
class Reachability {
 public:
  /// The IPv4 wildcard address (0.0.0.0, port 0) as a 16-byte socket address:
  /// length 16, family 2, every other byte zero.
  static constexpr ReachabilityError::SocketAddress kProbeAddress = {16, 2};

  /// Creates the handle for the wildcard address.
  /// Throws ReachabilityError (failedToCreateWithAddress) when the service
  /// cannot make one; a missing service counts as such a failure.
  explicit Reachability(std::shared_ptr<platform::ReachabilityService> service);

  /// Whether the reachable flag is set; false when the flags cannot be read.
  /// No other flag matters: a route that needs a connection first counts.
  bool isConnected() const;

 private:
  std::unique_ptr<platform::ReachabilityHandle> reachabilityRef_;
};

}  // namespace lumora
