// Feeds arbitrary bytes to the reachability probe's netlink dump scanner as a
// received buffer of route and link messages (sequence number 1), and checks
// that what it reports holds together wherever the buffer sits in memory.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "FuzzCheck.hpp"
#include "platform/linux/NetlinkReachabilityService.hpp"

namespace {

using lumora::fuzz::check;

using lumora::platform::NetlinkReachabilityService;

constexpr std::uint32_t kSequence = 1;
constexpr std::size_t kSmallestMessage = 16;  // a bare netlink header

bool sameScan(const NetlinkReachabilityService::DumpScan& a,
              const NetlinkReachabilityService::DumpScan& b) {
  if (a.done != b.done || a.error != b.error ||
      a.operationalInterfaces != b.operationalInterfaces ||
      a.defaultPaths.size() != b.defaultPaths.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.defaultPaths.size(); ++i) {
    if (a.defaultPaths[i].interfaceIndex != b.defaultPaths[i].interfaceIndex ||
        a.defaultPaths[i].linkDown != b.defaultPaths[i].linkDown) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto scan = NetlinkReachabilityService::scanDump(std::span(data, size), kSequence);
  check(!(scan.done && scan.error));
  // Every message is at least a header, and a path or a link needs a message.
  check(scan.operationalInterfaces.size() <= size / kSmallestMessage);
  for (const auto& path : scan.defaultPaths) {
    check(!path.linkDown ||
          !NetlinkReachabilityService::isUsable(path, scan.operationalInterfaces));
  }

  // The same bytes one byte off alignment scan the same.
  std::vector<std::uint8_t> shifted(size + 1);
  if (size > 0) std::memcpy(shifted.data() + 1, data, size);
  const auto again =
      NetlinkReachabilityService::scanDump(std::span(shifted.data() + 1, size), kSequence);
  check(sameScan(scan, again));
  return 0;
}
