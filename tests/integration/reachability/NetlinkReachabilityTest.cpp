#include "platform/linux/NetlinkReachabilityService.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "core/util/Reachability.hpp"

namespace lumora {
namespace {

constexpr int kCannotSetUp = 10;  // no network namespace here, or ip(8) failed

/// In a child process inside a fresh network namespace, runs each stage's ip(8)
/// commands and probes after it; answers the exit status and, per stage, "1"
/// reachable or "0" not.
int probeInFreshNamespace(const std::vector<std::vector<std::string>>& stages,
                          std::string& answers) {
  int channel[2];
  if (pipe(channel) != 0) return -1;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
      _exit(kCannotSetUp);
    }
    for (const auto& stage : stages) {
      for (const auto& command : stage) {
        if (std::system(("sh -c '" + command + "' >/dev/null 2>&1").c_str()) != 0) {
          _exit(kCannotSetUp);
        }
      }
      Reachability reachability(std::make_shared<platform::NetlinkReachabilityService>());
      const char answer = reachability.isConnected() ? '1' : '0';
      if (write(channel[1], &answer, 1) != 1) _exit(1);
    }
    _exit(0);
  }
  close(channel[1]);
  for (char answer; child > 0 && read(channel[0], &answer, 1) == 1;) answers += answer;
  close(channel[0]);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status)
                                                                               : -1;
}

// Waits, for at most five seconds, until condition holds: the kernel settles a
// link's state off the caller's thread.
std::string waitUntil(const std::string& condition) {
  return "for i in $(seq 100); do if " + condition + "; then exit 0; fi; sleep 0.05; done; exit 1";
}

const std::string kLoopbackUp = "ip link set lo up";
// A veth pair whose peer is down: v0 is up but has no carrier.
const std::string kVeth = "ip link add v0 type veth peer name v1 && ip link set v0 up";
const std::string kV0Running = "ip -o link show v0 | grep -q \"state UP\"";

/// Links and routes set up stage by stage, and the answer expected after each.
struct NamespaceCase {
  const char* name;
  std::vector<std::vector<std::string>> stages;
  std::string answers;
};

class NetlinkNamespaceTest : public ::testing::TestWithParam<NamespaceCase> {};

TEST_P(NetlinkNamespaceTest, ProbesAnswerWhetherADefaultRouteLeadsOut) {
  std::string answers;
  const int status = probeInFreshNamespace(GetParam().stages, answers);
  if (status == kCannotSetUp) GTEST_SKIP() << "cannot set up a network namespace with ip(8) here";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(answers, GetParam().answers);
}

// A default route is only as good as its link: without carrier (or with the
// interface down) it leads nowhere; once the peer comes up it does. A
// multipath route leads out while any one of its next hops does.
INSTANTIATE_TEST_SUITE_P(
    Routes, NetlinkNamespaceTest,
    ::testing::Values(
        NamespaceCase{"DefaultRoute", {{kLoopbackUp, "ip route add default dev lo"}}, "1"},
        NamespaceCase{
            "IPv6DefaultRouteAlone", {{kLoopbackUp, "ip -6 route add default dev lo"}}, "1"},
        NamespaceCase{"UnreachableOrOtherTable",
                      {{kLoopbackUp, "ip route add unreachable default",
                        "ip route add default dev lo table 100"}},
                      "0"},
        NamespaceCase{"FollowsCarrier",
                      {{kLoopbackUp, kVeth, "ip route add default dev v0"},
                       {"ip link set v1 up",
                        waitUntil(kV0Running + " && ! ip route show default | grep -q linkdown")},
                       {"ip link set v0 down"}},
                      "010"},
        NamespaceCase{
            "MultipathNeedsOneLiveNextHop",
            {{kLoopbackUp, kVeth, "ip link add w0 type veth peer name w1 && ip link set w1 up",
              "ip link set w0 up", waitUntil("ip -o link show w0 | grep -q \"state UP\""),
              "ip route add default nexthop dev v0 nexthop dev w0"},
             {"ip link set w1 down", waitUntil("ip -o link show w0 | grep -q LOWERLAYERDOWN")}},
            "10"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace lumora
