#include "devserver/DevServerEngine.hpp"

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "devserver/CreativeTree.hpp"
#include "devserver/DevServerError.hpp"
#include "devserver/SelfSignedCertificate.hpp"

namespace lumora::tools {
namespace {

constexpr const char* kHost = "127.0.0.1";

std::filesystem::path makeTemporaryDirectory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "lumora-devserver-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw DevServerError("cannot create a temporary directory for the certificate");
  }
  return pattern;
}

void serveCreative(const CreativeTree& tree, const httplib::Request& request,
                   httplib::Response& response) {
  const CreativeLookup found = tree.lookup(request.path);
  response.status = found.status;
  response.set_content(found.body, found.status == 200 ? "application/json" : "text/plain");
}

void receiveEvent(EventLog& log, const httplib::Request& request, httplib::Response& response) {
  if (!request.path.ends_with("/device_events")) {
    response.status = 404;
    response.set_content("events are posted to .../device_events\n", "text/plain");
    return;
  }
  const ReceivedEvent event = log.receive(request.path, request.body);
  response.status = event.valid ? 200 : 400;
  const nlohmann::json reply =
      event.valid ? nlohmann::json::object() : nlohmann::json{{"problems", event.problems}};
  response.set_content(reply.dump(), "application/json");
}

}  // namespace

struct DevServerEngine::Running {
  std::optional<std::filesystem::path> temporaryDirectory;
  std::filesystem::path caFile;
  std::unique_ptr<CreativeTree> tree;
  std::unique_ptr<httplib::SSLServer> server;
  std::uint16_t port = 0;
  std::atomic<bool> listenerDone = false;
  std::thread listener;

  ~Running() {
    if (listener.joinable()) {
      server->stop();
      listener.join();
    }
    if (temporaryDirectory) {
      std::error_code ignored;
      std::filesystem::remove_all(*temporaryDirectory, ignored);
    }
  }
};

DevServerEngine::DevServerEngine(DevServerConfig config) : config_(std::move(config)) {}

DevServerEngine::~DevServerEngine() { stop(); }

void DevServerEngine::start() {
  if (running_) {
    return;
  }
  if (config_.certFile.has_value() != config_.keyFile.has_value()) {
    throw DevServerError("a certificate needs both a certificate file and a key file");
  }
  auto running = std::make_unique<Running>();
  running->tree = std::make_unique<CreativeTree>(config_.creativesDir);
  if (!eventLog_) {
    eventLog_ = std::make_shared<EventLog>(config_.eventsFile, config_.console);
  }

  std::filesystem::path keyFile;
  if (config_.certFile) {
    running->caFile = *config_.certFile;
    keyFile = *config_.keyFile;
  } else {
    if (!config_.certDir) {
      running->temporaryDirectory = makeTemporaryDirectory();
    }
    const auto generated =
        SelfSignedCertificate::generate(config_.certDir.value_or(*running->temporaryDirectory));
    running->caFile = generated.certFile();
    keyFile = generated.keyFile();
  }
  running->server = std::make_unique<httplib::SSLServer>(running->caFile.c_str(), keyFile.c_str());
  if (!running->server->is_valid()) {
    throw DevServerError("cannot use certificate " + running->caFile.string() + " with key " +
                         keyFile.string());
  }

  running->server->set_keep_alive_timeout(config_.keepAliveSeconds);

  // httplib's default, SO_REUSEPORT, would let a second server share the port.
  running->server->set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });

  const CreativeTree& tree = *running->tree;
  running->server->Get(".*", [&tree](const httplib::Request& request, httplib::Response& response) {
    serveCreative(tree, request, response);
  });
  running->server->Post(
      ".*", [log = eventLog_](const httplib::Request& request, httplib::Response& response) {
        receiveEvent(*log, request, response);
      });

  if (config_.port == 0) {
    const int bound = running->server->bind_to_any_port(kHost);
    running->port = bound > 0 ? static_cast<std::uint16_t>(bound) : 0;
  } else if (running->server->bind_to_port(kHost, config_.port)) {
    running->port = config_.port;
  }
  if (running->port == 0) {
    throw DevServerError("cannot listen on " + std::string(kHost) + ":" +
                         std::to_string(config_.port));
  }

  std::signal(SIGPIPE, SIG_IGN);
  Running& state = *running;
  running->listener = std::thread([&state] {
    state.server->listen_after_bind();
    state.listenerDone = true;
  });
  // stop() only takes effect once the accept loop runs; wait for it.
  while (!state.server->is_running() && !state.listenerDone) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  running_ = std::move(running);
}

void DevServerEngine::stop() { running_.reset(); }

bool DevServerEngine::isRunning() const noexcept { return running_ != nullptr; }

std::uint16_t DevServerEngine::port() const noexcept { return running_ ? running_->port : 0; }

std::filesystem::path DevServerEngine::caFile() const {
  return running_ ? running_->caFile : std::filesystem::path();
}

std::string DevServerEngine::hostAndPort() const {
  return std::string(kHost) + ":" + std::to_string(port());
}

std::string DevServerEngine::baseUrl() const { return "https://" + hostAndPort(); }

std::vector<ReceivedEvent> DevServerEngine::events() const {
  return eventLog_ ? eventLog_->events() : std::vector<ReceivedEvent>{};
}

}  // namespace lumora::tools
