// lumora-devserver: serves a creative tree and receives device events over
// HTTPS (on 127.0.0.1 unless --listen says otherwise) until SIGINT or SIGTERM.

#include <csignal>
#include <iostream>
#include <string_view>
#include <vector>

#include "devserver/DevServerCommandLine.hpp"
#include "devserver/DevServerEngine.hpp"
#include "devserver/DevServerError.hpp"

namespace {

constexpr int kBadArguments = 2;

/// Blocks SIGINT and SIGTERM in every thread (the server's threads inherit
/// the mask) and waits for one of them here.
sigset_t blockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace lumora::tools;
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (DevServerCommandLine::wantsHelp(arguments)) {
    std::cout << DevServerCommandLine::kUsage << '\n';
    return 0;
  }
  const sigset_t stopSignals = blockStopSignals();
  try {
    DevServerConfig config = DevServerCommandLine::parse(arguments);
    config.console = &std::cout;
    DevServerEngine server(std::move(config));
    server.start();
    std::cout << DevServerCommandLine::banner(server) << std::endl;
    int received = 0;
    sigwait(&stopSignals, &received);
    std::cout << "lumora-devserver stopping" << std::endl;
  } catch (const DevServerError& error) {
    std::cerr << "lumora-devserver: " << error.what() << '\n';
    return kBadArguments;
  }
  return 0;
}
