#include "lumora-doctor/NetworkCheck.hpp"

#include <cstring>
#include <string>

#include "lumora-doctor/Findings.hpp"
#include "platform/linux/NetlinkReachabilityService.hpp"

namespace lumora::doctor {

Check NetworkCheck::run() {
  Findings findings;
  platform::NetlinkReachabilityService service;
  const auto created = service.createWithAddress({});
  const auto flags = created.handle ? created.handle->flags() : std::nullopt;
  if (!flags) {
    const int number = created.handle ? 0 : created.errorNumber;
    findings.warning(std::string("the routing table cannot be read") +
                         (number ? std::string(": ") + std::strerror(number) : std::string()),
                     "allow netlink route sockets (NETLINK_ROUTE) to this process");
  } else if ((*flags & platform::ReachabilityHandle::kReachable) == 0) {
    findings.warning(
        "no default route: every creative fetch reports "
        "internetConnectionUnavailable until one exists",
        "connect to a network (ip route should show a default route)");
  } else {
    findings.ok("default route present");
  }
  return findings.check("network");
}

}  // namespace lumora::doctor
