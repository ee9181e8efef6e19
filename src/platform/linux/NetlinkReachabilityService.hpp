#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/ReachabilityService.hpp"

namespace lumora::platform {

/// Reachability on Linux from the kernel's routing table and link states. Each
/// handle owns an rtnetlink socket; every flags() read dumps the IPv4 and IPv6
/// routes (RTM_GETROUTE) and, when a default route leads somewhere, the links
/// (RTM_GETLINK), synchronously, so that each read sees the state of that
/// moment. It reports reachable exactly when a default route (destination
/// length 0, main table, unicast type) has a usable path: one the kernel has
/// not marked as without carrier (RTNH_F_LINKDOWN) or dead, through an
/// interface that is up and running (IFF_UP and IFF_RUNNING: carrier present,
/// not dormant). Nothing but the netlink exchange with the kernel is sent.
/// Handles answer for the wildcard address, whatever address they were made
/// for.
class NetlinkReachabilityService : public ReachabilityService {
 public:
  /// Fails, with errno, when the netlink socket cannot be opened.
  Created createWithAddress(const SocketAddress& address) override;

  /// One way out along a default route.
  struct RoutePath {
    int interfaceIndex = 0;  // 0: the route names no interface (a nexthop object)
    bool linkDown = false;   // the kernel marked it without carrier, or dead
  };

  /// What one buffer of a route or link dump said.
  struct DumpScan {
    std::vector<RoutePath> defaultPaths;     // the paths of its default routes
    std::vector<int> operationalInterfaces;  // links up and running
    bool done = false;                       // the dump ended (NLMSG_DONE)
    std::optional<int> error;                // the kernel reported this error number
  };

  /// Walks the netlink messages of one received buffer (route and link
  /// messages alike). Messages whose sequence number is not sequence are
  /// ignored; anything malformed is skipped, never read past.
  static DumpScan scanDump(std::span<const std::uint8_t> buffer, std::uint32_t sequence);

  /// Whether a path leads out: not marked down, and through an operational
  /// interface (or none named).
  static bool isUsable(const RoutePath& path, std::span<const int> operationalInterfaces);
};

}  // namespace lumora::platform
