#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/ReachabilityService.hpp"

namespace lumora::platform {

/// Reachability on Linux from the kernel's routing table. Each handle owns an
/// rtnetlink socket; every flags() read dumps the IPv4 and IPv6 routes
/// (RTM_GETROUTE) synchronously and reports reachable exactly when a default
/// route exists: destination length 0, main table, unicast type. Nothing but
/// the netlink exchange with the kernel is sent. Handles answer for the
/// wildcard address, whatever address they were made for.
class NetlinkReachabilityService : public ReachabilityService {
 public:
  /// Fails, with errno, when the netlink socket cannot be opened.
  Created createWithAddress(const SocketAddress& address) override;

  /// What one buffer of a route dump said.
  struct DumpScan {
    bool defaultRoute = false;  // a default route was among its routes
    bool done = false;          // the dump ended (NLMSG_DONE)
    std::optional<int> error;   // the kernel reported this error number
  };
  /// Walks the netlink messages of one received buffer. Messages whose
  /// sequence number is not sequence are ignored.
  static DumpScan scanRouteDump(std::span<const std::uint8_t> buffer, std::uint32_t sequence);
};

}  // namespace lumora::platform
