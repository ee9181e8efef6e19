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

const std::string kLoopbackUp = "ip link set lo up";
// A veth pair whose peer is down: v0 is up but has no carrier.
const Stage kVethWithoutCarrier{kLoopbackUp, "ip link add v0 type veth peer name v1",
                                "ip link set v0 up"};
const std::string kV0Running = "ip -o link show v0 | grep -q \"state UP\"";

Stage plus(Stage stage, const std::vector<std::string>& more) {
  stage.insert(stage.end(), more.begin(), more.end());
  return stage;
}

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

/// Links and routes set up stage by stage in a fresh network namespace, and
/// the answer ("1" reachable, "0" not) expected after each stage.
struct NamespaceCase {
  const char* name;
  std::vector<Stage> stages;
  std::string answers;
};

class NetlinkNamespaceTest : public ::testing::TestWithParam<NamespaceCase> {};

TEST_P(NetlinkNamespaceTest, ProbesAnswerWhetherADefaultRouteLeadsOut) {
  std::string answers;
  const Outcome outcome = probeInFreshNamespace(GetParam().stages, answers);
  if (outcome == Outcome::noNamespace) {
    GTEST_SKIP() << "cannot create a network namespace here (needs root or user namespaces)";
  }
  if (outcome == Outcome::setupFailed) {
    GTEST_SKIP() << "cannot set up the namespace's links and routes with ip(8)";
  }
  EXPECT_EQ(outcome, Outcome::ran);
  EXPECT_EQ(answers, GetParam().answers);
}

// A default route is only as good as its link: without carrier (or with the
// interface down) it leads nowhere; once the peer comes up it does. A
// multipath route leads out while any one of its next hops does.
INSTANTIATE_TEST_SUITE_P(
    Routes, NetlinkNamespaceTest,
    ::testing::Values(
        NamespaceCase{"LoopbackOnly", {{kLoopbackUp}}, "0"},
        NamespaceCase{"DefaultRoute", {{kLoopbackUp, "ip route add default dev lo"}}, "1"},
        NamespaceCase{
            "IPv6DefaultRouteAlone", {{kLoopbackUp, "ip -6 route add default dev lo"}}, "1"},
        NamespaceCase{"UnreachableOrOtherTable",
                      {{kLoopbackUp, "ip route add unreachable default",
                        "ip route add default dev lo table 100"}},
                      "0"},
        NamespaceCase{"FollowsCarrier",
                      {plus(kVethWithoutCarrier, {"ip route add default dev v0"}),
                       {"ip link set v1 up",
                        waitUntil(kV0Running + " && ! ip route show default | grep -q linkdown")},
                       {"ip link set v0 down"}},
                      "010"},
        NamespaceCase{
            "IPv6FollowsCarrier",
            {plus(kVethWithoutCarrier, {"ip -6 route add default dev v0"}),
             {"ip link set v1 up",
              waitUntil(kV0Running + " && ! ip -6 route show default | grep -q linkdown")}},
            "01"},
        NamespaceCase{
            "MultipathNeedsOneLiveNextHop",
            {plus(kVethWithoutCarrier,
                  {"ip link add w0 type veth peer name w1", "ip link set w1 up",
                   "ip link set w0 up", waitUntil("ip -o link show w0 | grep -q \"state UP\""),
                   "ip route add default nexthop dev v0 nexthop dev w0"}),
             {"ip link set w1 down", waitUntil("ip -o link show w0 | grep -q LOWERLAYERDOWN")}},
            "10"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace lumora
