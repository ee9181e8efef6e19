#include "core/util/Reachability.hpp"

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>

#include "platform/linux/NetlinkReachabilityService.hpp"
#include "platform/sim/SimReachabilityService.hpp"

namespace lumora {
namespace {

using platform::NetlinkReachabilityService;

// A service whose handles report fixed flags, for the flag mapping.
class FixedFlagsService : public platform::ReachabilityService {
 public:
  explicit FixedFlagsService(std::uint32_t flags) : flags_(flags) {}
  Created createWithAddress(const SocketAddress& address) override {
    requested = address;
    struct Handle : platform::ReachabilityHandle {
      explicit Handle(std::uint32_t f) : f(f) {}
      std::optional<std::uint32_t> flags() const override { return f; }
      std::uint32_t f;
    };
    return Created{std::make_unique<Handle>(flags_), 0};
  }
  SocketAddress requested{};

 private:
  std::uint32_t flags_;
};

TEST(ReachabilityTest, OnlyTheReachableFlagCountsAndTheProbeIsTheWildcardAddress) {
  for (const auto& [flags, connected] : {std::pair{2u, true}, std::pair{2u | 4u | 0x40000u, true},
                                         std::pair{~2u, false}, std::pair{0u, false}}) {
    const auto service = std::make_shared<FixedFlagsService>(flags);
    EXPECT_EQ(Reachability(service).isConnected(), connected) << flags;
    const platform::ReachabilityService::SocketAddress wildcard{16, 2};  // 0.0.0.0, port 0
    EXPECT_EQ(service->requested, wildcard);
  }
}

TEST(ReachabilityTest, ProbesFollowTheScriptedNetworkAndFailedReadsAnswerFalse) {
  const auto service = std::make_shared<platform::SimReachabilityService>(true);
  const Reachability before(service);
  EXPECT_TRUE(before.isConnected());
  service->setReachable(false);
  EXPECT_FALSE(Reachability(service).isConnected());
  EXPECT_FALSE(before.isConnected());  // a handle reads the current state
  service->setReachable(true);
  service->failFlagReads(true);
  EXPECT_FALSE(Reachability(service).isConnected());
  EXPECT_EQ(service->createdCount(), 3);
}

TEST(ReachabilityTest, FailuresThrowTextsNamingTheStepTheCauseAndTheAddress) {
  const auto service = std::make_shared<platform::SimReachabilityService>();
  service->failCreation(EMFILE);
  try {
    Reachability probe(service);
    FAIL() << "expected ReachabilityError";
  } catch (const ReachabilityError& error) {
    EXPECT_EQ(error.kind(), ReachabilityError::Kind::failedToCreateWithAddress);
    EXPECT_EQ(error.errorNumber(), EMFILE);
    EXPECT_EQ(error.address(), Reachability::kProbeAddress);
    EXPECT_EQ(error.localizedDescription(),
              "Failed to create reachability reference for address 0.0.0.0 "
              "(error 24: Too many open files)");
    EXPECT_STREQ(error.what(), error.localizedDescription().c_str());
  }
  service->failCreation(std::nullopt);
  EXPECT_TRUE(Reachability(service).isConnected());
  EXPECT_THROW(Reachability(nullptr), ReachabilityError);
  const ReachabilityError::SocketAddress ipv4{16, 2, 0, 80, 10, 1, 2, 3};
  const ReachabilityError::SocketAddress ipv6{28, 10};
  const std::pair<ReachabilityError, const char*> cases[] = {
      {ReachabilityError::failedToCreateWithAddress(ipv4, EACCES),
       "Failed to create reachability reference for address 10.1.2.3 "
       "(error 13: Permission denied)"},
      {ReachabilityError::failedToCreateWithAddress(ipv6, EACCES),
       "Failed to create reachability reference for address of family 10 "
       "(error 13: Permission denied)"},
      {ReachabilityError::unableToGetFlags(EIO),
       "Unable to get reachability flags (error 5: Input/output error)"},
  };
  for (const auto& [error, text] : cases) EXPECT_EQ(error.localizedDescription(), text);
}

// Builds route-dump buffers as the kernel sends them.
class RouteDump {
 public:
  RouteDump& route(unsigned char dstLength, unsigned char type, std::uint32_t table,
                   bool tableAttribute = false, std::uint32_t sequence = 7) {
    const std::size_t attribute = tableAttribute ? RTA_SPACE(sizeof(std::uint32_t)) : 0;
    auto* header = append(NLMSG_SPACE(sizeof(rtmsg)) + attribute);
    header->nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(sizeof(rtmsg)) + attribute);
    header->nlmsg_type = RTM_NEWROUTE;
    header->nlmsg_seq = sequence;
    auto* message = static_cast<rtmsg*>(NLMSG_DATA(header));
    message->rtm_dst_len = dstLength;
    message->rtm_type = type;
    message->rtm_table = static_cast<unsigned char>(tableAttribute ? RT_TABLE_COMPAT : table);
    if (tableAttribute) {
      auto* rta = RTM_RTA(message);
      rta->rta_type = RTA_TABLE;
      rta->rta_len = RTA_LENGTH(sizeof(std::uint32_t));
      std::memcpy(RTA_DATA(rta), &table, sizeof table);
    }
    return *this;
  }
  RouteDump& control(std::uint16_t type, int error = 0) {
    auto* header = append(NLMSG_SPACE(sizeof(nlmsgerr)));
    header->nlmsg_len = static_cast<std::uint32_t>(
        type == NLMSG_ERROR ? NLMSG_LENGTH(sizeof(nlmsgerr)) : NLMSG_LENGTH(sizeof(int)));
    header->nlmsg_type = type;
    header->nlmsg_seq = 7;
    static_cast<nlmsgerr*>(NLMSG_DATA(header))->error = -error;
    return *this;
  }
  NetlinkReachabilityService::DumpScan scan() const {
    return NetlinkReachabilityService::scanDump(bytes_, 7);
  }

 private:
  nlmsghdr* append(std::size_t size) {
    const std::size_t offset = bytes_.size();
    bytes_.resize(offset + size, 0);
    return reinterpret_cast<nlmsghdr*>(bytes_.data() + offset);
  }
  std::vector<std::uint8_t> bytes_;
};

// Only a unicast default route of the main table counts; done and error
// messages end the dump.
TEST(NetlinkRouteDumpTest, OnlyAUnicastDefaultRouteOfTheMainTableCounts) {
  const struct {
    RouteDump dump;
    std::size_t defaults;
    bool done = false;
    std::optional<int> error = std::nullopt;
  } cases[] = {
      {RouteDump().route(24, RTN_UNICAST, RT_TABLE_MAIN).route(0, RTN_UNICAST, RT_TABLE_MAIN), 1},
      {RouteDump().route(0, RTN_UNICAST, RT_TABLE_MAIN, true), 1},
      {RouteDump().route(0, RTN_UNREACHABLE, RT_TABLE_MAIN), 0},
      {RouteDump().route(0, RTN_UNICAST, 300, true), 0},
      {RouteDump().route(0, RTN_UNICAST, RT_TABLE_MAIN).control(NLMSG_DONE), 1, true},
      {RouteDump().control(NLMSG_ERROR, EPERM), 0, false, EPERM},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto scan = cases[i].dump.scan();
    EXPECT_EQ(scan.defaultPaths.size(), cases[i].defaults) << "case " << i;
    EXPECT_EQ(scan.done, cases[i].done) << "case " << i;
    EXPECT_EQ(scan.error, cases[i].error) << "case " << i;
  }
}

}  // namespace
}  // namespace lumora
