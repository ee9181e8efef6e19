#include "platform/linux/NetlinkReachabilityService.hpp"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace lumora::platform {
namespace {

// A dump answers at once; the time-out only guards the main queue against a
// kernel that never answers.
constexpr timeval kReceiveTimeout{1, 0};
constexpr std::size_t kReceiveBufferSize = 32 * 1024;

struct DumpRequest {
  nlmsghdr header;
  rtmsg route;
};

// The routing table a route message belongs to: RTA_TABLE when present (it
// holds tables beyond 255), else the header's table.
std::uint32_t routeTable(const nlmsghdr* message, const rtmsg* route) {
  std::uint32_t table = route->rtm_table;
  int length = static_cast<int>(RTM_PAYLOAD(message));
  for (auto* attribute = RTM_RTA(route); RTA_OK(attribute, length);
       attribute = RTA_NEXT(attribute, length)) {
    if (attribute->rta_type == RTA_TABLE && RTA_PAYLOAD(attribute) >= sizeof(std::uint32_t)) {
      std::memcpy(&table, RTA_DATA(attribute), sizeof table);
    }
  }
  return table;
}

bool isDefaultRoute(const nlmsghdr* message) {
  if (message->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) return false;
  const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
  return route->rtm_dst_len == 0 && route->rtm_type == RTN_UNICAST &&
         routeTable(message, route) == RT_TABLE_MAIN;
}

class NetlinkRouteHandle : public ReachabilityHandle {
 public:
  explicit NetlinkRouteHandle(int socket) : socket_(socket) {}
  ~NetlinkRouteHandle() override { close(socket_); }
  NetlinkRouteHandle(const NetlinkRouteHandle&) = delete;
  NetlinkRouteHandle& operator=(const NetlinkRouteHandle&) = delete;

  std::optional<std::uint32_t> flags() const override {
    for (const int family : {AF_INET, AF_INET6}) {
      const auto found = hasDefaultRoute(family);
      if (!found) return std::nullopt;
      if (*found) return kReachable;
    }
    return 0u;
  }

 private:
  // Whether the family's main table has a default route; nothing when the
  // dump could not be made or read.
  std::optional<bool> hasDefaultRoute(int family) const {
    const std::uint32_t sequence = ++sequence_;
    if (!sendDumpRequest(family, sequence)) return std::nullopt;
    bool found = false;
    std::array<std::uint8_t, kReceiveBufferSize> buffer;
    while (true) {
      const ssize_t received = recv(socket_, buffer.data(), buffer.size(), 0);
      if (received < 0 && errno == EINTR) continue;
      if (received <= 0) return std::nullopt;
      const auto scan = NetlinkReachabilityService::scanRouteDump(
          std::span(buffer.data(), static_cast<std::size_t>(received)), sequence);
      if (scan.error) return std::nullopt;
      found = found || scan.defaultRoute;
      if (scan.done) return found;
    }
  }

  bool sendDumpRequest(int family, std::uint32_t sequence) const {
    DumpRequest request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = sequence;
    request.route.rtm_family = static_cast<unsigned char>(family);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t sent = sendto(socket_, &request, request.header.nlmsg_len, 0,
                                reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    return sent == static_cast<ssize_t>(request.header.nlmsg_len);
  }

  int socket_;
  mutable std::uint32_t sequence_ = 0;
};

}  // namespace

ReachabilityService::Created NetlinkReachabilityService::createWithAddress(const SocketAddress&) {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return Created{nullptr, errno};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof kReceiveTimeout);
  return Created{std::make_unique<NetlinkRouteHandle>(fd), 0};
}

NetlinkReachabilityService::DumpScan NetlinkReachabilityService::scanRouteDump(
    std::span<const std::uint8_t> buffer, std::uint32_t sequence) {
  DumpScan scan;
  auto remaining = static_cast<int>(buffer.size());
  for (auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
       NLMSG_OK(message, remaining); message = NLMSG_NEXT(message, remaining)) {
    if (message->nlmsg_seq != sequence) continue;
    if (message->nlmsg_type == NLMSG_DONE) {
      scan.done = true;
      return scan;
    }
    if (message->nlmsg_type == NLMSG_ERROR) {
      const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(message));
      scan.error = message->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr)) ? -error->error : EPROTO;
      return scan;
    }
    if (message->nlmsg_type == RTM_NEWROUTE && isDefaultRoute(message)) scan.defaultRoute = true;
  }
  return scan;
}

}  // namespace lumora::platform
