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

// What a probe run in a child process inside a fresh network namespace said.
enum class Outcome {
  unreachable = 0,
  reachable = 1,
  noNamespace = 10,
  setupFailed = 11,
  probeFailed = 12
};

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

[[noreturn]] void runChild(const std::vector<std::string>& setup) {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
    _exit(static_cast<int>(Outcome::noNamespace));
  }
  for (const auto& command : setup) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) {
      _exit(static_cast<int>(Outcome::setupFailed));
    }
  }
  try {
    _exit(static_cast<int>(probe() ? Outcome::reachable : Outcome::unreachable));
  } catch (...) {
    _exit(static_cast<int>(Outcome::probeFailed));
  }
}

Outcome probeInFreshNamespace(const std::vector<std::string>& setup) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) runChild(setup);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    return Outcome::probeFailed;
  }
  return static_cast<Outcome>(WEXITSTATUS(status));
}

// Skips the test when the namespace or its routes cannot be made here.
#define EXPECT_PROBE_IN_NAMESPACE(setup, expected)                                              \
  do {                                                                                          \
    const Outcome outcome = probeInFreshNamespace(setup);                                       \
    if (outcome == Outcome::noNamespace) {                                                      \
      GTEST_SKIP() << "cannot create a network namespace here (needs root or user namespaces)"; \
    }                                                                                           \
    if (outcome == Outcome::setupFailed) {                                                      \
      GTEST_SKIP() << "cannot set up the namespace's routes with ip(8)";                        \
    }                                                                                           \
    EXPECT_EQ(outcome, expected);                                                               \
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
  EXPECT_PROBE_IN_NAMESPACE(std::vector<std::string>{kLoopbackUp}, Outcome::unreachable);
}

TEST(NetlinkReachabilityTest, NamespaceWithADefaultRouteIsReachable) {
  EXPECT_PROBE_IN_NAMESPACE((std::vector<std::string>{kLoopbackUp, "ip route add default dev lo"}),
                            Outcome::reachable);
}

TEST(NetlinkReachabilityTest, IPv6DefaultRouteAloneIsReachable) {
  EXPECT_PROBE_IN_NAMESPACE(
      (std::vector<std::string>{kLoopbackUp, "ip -6 route add default dev lo"}),
      Outcome::reachable);
}

TEST(NetlinkReachabilityTest, UnreachableOrOtherTableDefaultRoutesDoNotCount) {
  EXPECT_PROBE_IN_NAMESPACE(
      (std::vector<std::string>{kLoopbackUp, "ip route add unreachable default",
                                "ip route add default dev lo table 100"}),
      Outcome::unreachable);
}

}  // namespace
}  // namespace lumora
