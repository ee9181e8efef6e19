#include "platform/linux/NetlinkReachabilityService.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/util/Reachability.hpp"

namespace lumora {
namespace {

// How a run of probes in a child process inside a fresh network namespace
// ended; the probes' answers travel separately, through a pipe.
enum class Outcome { ran = 0, noNamespace = 10, setupFailed = 11, probeFailed = 12 };

// Commands run with ip(8) before one probe.
using Stage = std::vector<std::string>;

std::string commandOutput(const std::string& command) {
  std::string output;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe)) output += buffer;
    pclose(pipe);
  }
  return output;
}

bool probe() {
  return Reachability(std::make_shared<platform::NetlinkReachabilityService>()).isConnected();
}

// A shell command that waits, for at most five seconds, until condition holds:
// the kernel settles a link's state off the caller's thread.
std::string waitUntil(const std::string& condition) {
  return "for i in $(seq 100); do if " + condition + "; then exit 0; fi; sleep 0.05; done; exit 1";
}

[[noreturn]] void runChild(const std::vector<Stage>& stages, int answers) {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
    _exit(static_cast<int>(Outcome::noNamespace));
  }
  for (const auto& stage : stages) {
    for (const auto& command : stage) {
      const std::string quiet = "sh -c '" + command + "' >/dev/null 2>&1";
      if (std::system(quiet.c_str()) != 0) _exit(static_cast<int>(Outcome::setupFailed));
    }
    try {
      const char answer = probe() ? '1' : '0';
      if (write(answers, &answer, 1) != 1) _exit(static_cast<int>(Outcome::probeFailed));
    } catch (...) {
      _exit(static_cast<int>(Outcome::probeFailed));
    }
  }
  _exit(static_cast<int>(Outcome::ran));
}

// Each probe's answer, "1" reachable and "0" not, in stage order.
Outcome probeInFreshNamespace(const std::vector<Stage>& stages, std::string& answers) {
  int channel[2];
  if (pipe(channel) != 0) return Outcome::probeFailed;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    runChild(stages, channel[1]);
  }
  close(channel[1]);
  char answer;
  while (child > 0 && read(channel[0], &answer, 1) == 1) answers += answer;
  close(channel[0]);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    return Outcome::probeFailed;
  }
  return static_cast<Outcome>(WEXITSTATUS(status));
}

// Skips the test when the namespace or its links and routes cannot be made here.
#define EXPECT_PROBES_IN_NAMESPACE(stages, expected)                                            \
  do {                                                                                          \
    std::string answers;                                                                        \
    const Outcome outcome = probeInFreshNamespace(stages, answers);                             \
    if (outcome == Outcome::noNamespace) {                                                      \
      GTEST_SKIP() << "cannot create a network namespace here (needs root or user namespaces)"; \
    }                                                                                           \
    if (outcome == Outcome::setupFailed) {                                                      \
      GTEST_SKIP() << "cannot set up the namespace's links and routes with ip(8)";              \
    }                                                                                           \
    EXPECT_EQ(outcome, Outcome::ran);                                                           \
    EXPECT_EQ(answers, expected);                                                               \
  } while (false)

const std::string kLoopbackUp = "ip link set lo up";

TEST(NetlinkReachabilityTest, ThisMachineIsReachableWhenItHasADefaultRoute) {
  const std::string routes =
      commandOutput("ip route show default 2>/dev/null; ip -6 route show default 2>/dev/null");
  // A unicast default route prints as "default via ..." or "default dev ...".
  if (routes.rfind("default ", 0) != 0 && routes.find("\ndefault ") == std::string::npos) {
    GTEST_SKIP() << "this machine has no default route (ip route show default is empty)";
  }
  EXPECT_TRUE(probe()) << "routes:\n" << routes;
  EXPECT_TRUE(probe());  // a second probe made afterwards answers the same
}

TEST(NetlinkReachabilityTest, NamespaceWithLoopbackOnlyIsUnreachable) {
  EXPECT_PROBES_IN_NAMESPACE(std::vector<Stage>{{kLoopbackUp}}, "0");
}

TEST(NetlinkReachabilityTest, NamespaceWithADefaultRouteIsReachable) {
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{{kLoopbackUp, "ip route add default dev lo"}}),
                             "1");
}

TEST(NetlinkReachabilityTest, IPv6DefaultRouteAloneIsReachable) {
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{{kLoopbackUp, "ip -6 route add default dev lo"}}),
                             "1");
}

TEST(NetlinkReachabilityTest, UnreachableOrOtherTableDefaultRoutesDoNotCount) {
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{{kLoopbackUp, "ip route add unreachable default",
                                                  "ip route add default dev lo table 100"}}),
                             "0");
}

// A veth pair whose peer is down: v0 is up but has no carrier.
const Stage kVethWithoutCarrier{kLoopbackUp, "ip link add v0 type veth peer name v1",
                                "ip link set v0 up"};
const std::string kV0Running = "ip -o link show v0 | grep -q \"state UP\"";

// A default route is only as good as its link: without carrier (or with the
// interface down) it leads nowhere; once the peer comes up it does.
TEST(NetlinkReachabilityTest, DefaultRouteFollowsItsLinksCarrier) {
  Stage viaV0 = kVethWithoutCarrier;
  viaV0.push_back("ip route add default dev v0");
  const Stage peerUp{"ip link set v1 up",
                     waitUntil(kV0Running + " && ! ip route show default | grep -q linkdown")};
  const Stage interfaceDown{"ip link set v0 down"};
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{viaV0, peerUp, interfaceDown}), "010");
}

TEST(NetlinkReachabilityTest, IPv6DefaultRouteWithoutCarrierIsUnreachable) {
  Stage viaV0 = kVethWithoutCarrier;
  viaV0.push_back("ip -6 route add default dev v0");
  const Stage peerUp{"ip link set v1 up",
                     waitUntil(kV0Running + " && ! ip -6 route show default | grep -q linkdown")};
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{viaV0, peerUp}), "01");
}

// A multipath default route leads out while any one of its next hops does.
TEST(NetlinkReachabilityTest, MultipathDefaultRouteNeedsOneLiveNextHop) {
  Stage twoPaths = kVethWithoutCarrier;
  twoPaths.insert(twoPaths.end(),
                  {"ip link add w0 type veth peer name w1", "ip link set w1 up",
                   "ip link set w0 up", waitUntil("ip -o link show w0 | grep -q \"state UP\""),
                   "ip route add default nexthop dev v0 nexthop dev w0"});
  const Stage lastPeerDown{"ip link set w1 down",
                           waitUntil("ip -o link show w0 | grep -q LOWERLAYERDOWN")};
  EXPECT_PROBES_IN_NAMESPACE((std::vector<Stage>{twoPaths, lastPeerDown}), "10");
}

}  // namespace
}  // namespace lumora
