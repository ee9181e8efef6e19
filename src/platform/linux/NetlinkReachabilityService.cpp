#include "platform/linux/NetlinkReachabilityService.hpp"

#include <linux/if.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

namespace lumora::platform {
namespace {

using RoutePath = NetlinkReachabilityService::RoutePath;
using DumpScan = NetlinkReachabilityService::DumpScan;

// A dump answers at once; the time-out only guards the main queue against a
// kernel that never answers.
constexpr timeval kReceiveTimeout{1, 0};
constexpr std::size_t kReceiveBufferSize = 32 * 1024;
constexpr unsigned kPathDown = RTNH_F_LINKDOWN | RTNH_F_DEAD;

template <class T>
T attributeValue(const rtattr* attribute, T fallback) {
  if (RTA_PAYLOAD(attribute) < sizeof(T)) return fallback;
  T value;
  std::memcpy(&value, RTA_DATA(attribute), sizeof value);
  return value;
}

// The next hops of a multipath route (RTA_MULTIPATH), each a path of its own.
void addNextHops(const rtattr* attribute, std::vector<RoutePath>& paths) {
  auto remaining = static_cast<int>(RTA_PAYLOAD(attribute));
  const auto* hop = static_cast<const rtnexthop*>(RTA_DATA(attribute));
  while (remaining >= static_cast<int>(sizeof(rtnexthop)) && RTNH_OK(hop, remaining)) {
    paths.push_back({hop->rtnh_ifindex, (hop->rtnh_flags & kPathDown) != 0});
    remaining -= static_cast<int>(RTNH_ALIGN(hop->rtnh_len));
    hop = RTNH_NEXT(hop);
  }
}

// The paths of a default route of the main table (destination length 0,
// unicast); nothing for any other route. The table is RTA_TABLE when present
// (it holds tables beyond 255), else the header's.
void addDefaultPaths(const nlmsghdr* message, std::vector<RoutePath>& paths) {
  if (message->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) return;
  const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
  if (route->rtm_dst_len != 0 || route->rtm_type != RTN_UNICAST) return;
  std::uint32_t table = route->rtm_table;
  int interfaceIndex = 0;
  std::vector<RoutePath> nextHops;
  int length = static_cast<int>(RTM_PAYLOAD(message));
  for (auto* attribute = RTM_RTA(route); RTA_OK(attribute, length);
       attribute = RTA_NEXT(attribute, length)) {
    if (attribute->rta_type == RTA_TABLE) table = attributeValue(attribute, table);
    if (attribute->rta_type == RTA_OIF) interfaceIndex = attributeValue(attribute, 0);
    if (attribute->rta_type == RTA_MULTIPATH) addNextHops(attribute, nextHops);
  }
  if (table != RT_TABLE_MAIN) return;
  if (nextHops.empty()) {
    paths.push_back({interfaceIndex, (route->rtm_flags & kPathDown) != 0});
  } else {
    paths.insert(paths.end(), nextHops.begin(), nextHops.end());
  }
}

// An interface is operational when it is up and its link is running (carrier
// present, not dormant).
void addOperationalInterface(const nlmsghdr* message, std::vector<int>& interfaces) {
  if (message->nlmsg_len < NLMSG_LENGTH(sizeof(ifinfomsg))) return;
  const auto* link = static_cast<const ifinfomsg*>(NLMSG_DATA(message));
  constexpr unsigned kOperational = IFF_UP | IFF_RUNNING;
  if ((link->ifi_flags & kOperational) == kOperational) interfaces.push_back(link->ifi_index);
}

// The message at offset, when a whole one starts there.
const nlmsghdr* messageAt(std::span<const std::uint8_t> buffer, std::size_t offset) {
  if (buffer.size() - offset < sizeof(nlmsghdr)) return nullptr;
  const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data() + offset);
  const std::size_t length = message->nlmsg_len;
  if (length < sizeof(nlmsghdr) || length > buffer.size() - offset) return nullptr;
  return message;
}

DumpScan scanAligned(std::span<const std::uint8_t> buffer, std::uint32_t sequence) {
  DumpScan scan;
  std::size_t offset = 0;
  while (const nlmsghdr* message = messageAt(buffer, offset)) {
    offset = std::min<std::size_t>(buffer.size(), offset + NLMSG_ALIGN(message->nlmsg_len));
    if (message->nlmsg_seq != sequence) continue;
    switch (message->nlmsg_type) {
      case NLMSG_DONE:
        scan.done = true;
        return scan;
      case NLMSG_ERROR: {
        // The kernel sends a negative errno; anything else is reported as a
        // protocol error (and INT_MIN cannot be negated).
        const bool whole = message->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr));
        const int code = whole ? static_cast<const nlmsgerr*>(NLMSG_DATA(message))->error : 0;
        scan.error = code < 0 && code != INT_MIN ? -code : EPROTO;
        return scan;
      }
      case RTM_NEWROUTE:
        addDefaultPaths(message, scan.defaultPaths);
        break;
      case RTM_NEWLINK:
        addOperationalInterface(message, scan.operationalInterfaces);
        break;
      default:
        break;
    }
  }
  return scan;
}

class NetlinkRouteHandle : public ReachabilityHandle {
 public:
  explicit NetlinkRouteHandle(int socket) : socket_(socket) {}
  ~NetlinkRouteHandle() override { close(socket_); }
  NetlinkRouteHandle(const NetlinkRouteHandle&) = delete;
  NetlinkRouteHandle& operator=(const NetlinkRouteHandle&) = delete;

  std::optional<std::uint32_t> flags() const override {
    std::vector<RoutePath> paths;
    for (const int family : {AF_INET, AF_INET6}) {
      rtmsg route{};
      route.rtm_family = static_cast<unsigned char>(family);
      const auto routes = dump(RTM_GETROUTE, route);
      if (!routes) return std::nullopt;
      paths.insert(paths.end(), routes->defaultPaths.begin(), routes->defaultPaths.end());
    }
    const bool anyUp = std::any_of(paths.begin(), paths.end(), [](auto& p) { return !p.linkDown; });
    if (!anyUp) return 0u;
    const auto links = dump(RTM_GETLINK, ifinfomsg{});
    if (!links) return std::nullopt;
    const bool usable = std::any_of(paths.begin(), paths.end(), [&](const RoutePath& path) {
      return NetlinkReachabilityService::isUsable(path, links->operationalInterfaces);
    });
    return usable ? kReachable : 0u;
  }

 private:
  // Everything one dump said; nothing when it could not be made or read.
  template <class Body>
  std::optional<DumpScan> dump(std::uint16_t type, const Body& body) const {
    const std::uint32_t sequence = ++sequence_;
    if (!sendDumpRequest(type, body, sequence)) return std::nullopt;
    DumpScan whole;
    alignas(nlmsghdr) std::array<std::uint8_t, kReceiveBufferSize> buffer;
    while (true) {
      const ssize_t received = recv(socket_, buffer.data(), buffer.size(), 0);
      if (received < 0 && errno == EINTR) continue;
      if (received <= 0) return std::nullopt;
      auto scan = NetlinkReachabilityService::scanDump(
          std::span(buffer.data(), static_cast<std::size_t>(received)), sequence);
      if (scan.error) return std::nullopt;
      whole.defaultPaths.insert(whole.defaultPaths.end(), scan.defaultPaths.begin(),
                                scan.defaultPaths.end());
      whole.operationalInterfaces.insert(whole.operationalInterfaces.end(),
                                         scan.operationalInterfaces.begin(),
                                         scan.operationalInterfaces.end());
      if (scan.done) return whole;
    }
  }

  template <class Body>
  bool sendDumpRequest(std::uint16_t type, const Body& body, std::uint32_t sequence) const {
    struct {
      nlmsghdr header;
      Body body;
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(Body));
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = sequence;
    request.body = body;
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

NetlinkReachabilityService::DumpScan NetlinkReachabilityService::scanDump(
    std::span<const std::uint8_t> buffer, std::uint32_t sequence) {
  if (reinterpret_cast<std::uintptr_t>(buffer.data()) % alignof(nlmsghdr) == 0) {
    return scanAligned(buffer, sequence);
  }
  // The netlink macros read headers in place: give them an aligned copy.
  std::vector<std::uint32_t> aligned((buffer.size() + sizeof(std::uint32_t) - 1) /
                                     sizeof(std::uint32_t));
  std::memcpy(aligned.data(), buffer.data(), buffer.size());
  return scanAligned(
      std::span(reinterpret_cast<const std::uint8_t*>(aligned.data()), buffer.size()), sequence);
}

bool NetlinkReachabilityService::isUsable(const RoutePath& path,
                                          std::span<const int> operationalInterfaces) {
  if (path.linkDown) return false;
  return path.interfaceIndex == 0 ||
         std::find(operationalInterfaces.begin(), operationalInterfaces.end(),
                   path.interfaceIndex) != operationalInterfaces.end();
}

}  // namespace lumora::platform
