#include "devserver/DevServerEngine.hpp"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "devserver/CreativeTree.hpp"
#include "devserver/DevServerError.hpp"
#include "devserver/DevServerRouter.hpp"
#include "devserver/RequestLog.hpp"
#include "devserver/SelfSignedCertificate.hpp"

namespace lumora::tools {
namespace {

std::filesystem::path makeTemporaryDirectory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "lumora-devserver-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw DevServerError("cannot create a temporary directory for the certificate");
  }
  return pattern;
}

/// "ADDRESS:PORT", an IPv6 address in brackets.
std::string endpoint(const std::string& address, std::uint16_t port) {
  const bool v6 = address.find(':') != std::string::npos;
  return (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

/// The body of a request, read no further than one byte past the limit.
/// nullopt when the transport could not deliver it (then response.status
/// tells whether the HTTP layer found it too long).
std::optional<std::string> readBody(const httplib::ContentReader& reader, std::size_t limit) {
  std::string body;
  const bool whole = reader([&body, limit](const char* data, std::size_t size) {
    body.append(data, std::min(size, limit + 1 - body.size()));
    return body.size() <= limit;
  });
  if (!whole && body.size() <= limit) {
    return std::nullopt;
  }
  return body;
}

void answer(const DevServerReply& reply, RequestLog& log, const httplib::Request& request,
            httplib::Response& response) {
  response.status = reply.status;
  response.set_content(reply.body, reply.contentType);
  log.answered(&request, request.method, request.path, reply.status, reply.body.size(), reply.note);
}

}  // namespace

struct DevServerEngine::Running {
  std::optional<std::filesystem::path> temporaryDirectory;
  std::filesystem::path caFile;
  std::unique_ptr<CreativeTree> tree;
  std::unique_ptr<DevServerRouter> router;
  std::unique_ptr<RequestLog> requestLog;
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

  void route() {
    const auto serveBody = [this](const httplib::Request& request, httplib::Response& response,
                                  const httplib::ContentReader& reader) {
      const std::optional<std::string> body = readBody(reader, router->maxBodyBytes());
      answer(body ? router->handle(request.method, request.path, *body)
                  : router->refuseBody(response.status == 413),
             *requestLog, request, response);
    };
    const auto serveBodiless = [this](const httplib::Request& request,
                                      httplib::Response& response) {
      answer(router->handle(request.method, request.path, {}), *requestLog, request, response);
    };
    // Every path, also one with a (percent-encoded) line break, which "." skips.
    const std::string any = R"([\s\S]*)";
    server->Get(any, serveBodiless);
    server->Options(any, serveBodiless);
    server->Post(any, serveBody);
    server->Put(any, serveBody);
    server->Patch(any, serveBody);
    server->Delete(any, serveBody);  // with a body
    server->Delete(any, serveBodiless);
    server->set_logger([this](const httplib::Request& request, const httplib::Response& response) {
      requestLog->served(&request, request.method, request.path, response.status,
                         response.body.size());
    });
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
    eventLog_ = std::make_shared<EventLog>(config_.eventsFile);
  }
  running->router =
      std::make_unique<DevServerRouter>(*running->tree, *eventLog_, config_.maxBodyBytes);
  running->requestLog = std::make_unique<RequestLog>(config_.console);

  std::filesystem::path keyFile;
  if (config_.certFile) {
    running->caFile = *config_.certFile;
    keyFile = *config_.keyFile;
  } else {
    const auto certificate =
        config_.certDir
            ? SelfSignedCertificate::loadOrGenerate(*config_.certDir, config_.listenAddress)
            : SelfSignedCertificate::generate(
                  *(running->temporaryDirectory = makeTemporaryDirectory()), config_.listenAddress);
    running->caFile = certificate.certFile();
    keyFile = certificate.keyFile();
  }
  running->server = std::make_unique<httplib::SSLServer>(running->caFile.c_str(), keyFile.c_str());
  if (!running->server->is_valid()) {
    throw DevServerError("cannot use certificate " + running->caFile.string() + " with key " +
                         keyFile.string());
  }

  httplib::SSLServer& server = *running->server;
  server.set_keep_alive_timeout(config_.keepAliveSeconds);
  if (config_.closeAfterEachRequest) server.set_keep_alive_max_count(1);
  server.set_read_timeout(config_.readTimeoutSeconds);
  // A reply goes out as two writes (head, body): without TCP_NODELAY the body
  // waits for the client's delayed acknowledgement, up to 40 ms a request.
  server.set_tcp_nodelay(true);
  server.set_payload_max_length(config_.maxBodyBytes);
  server.new_task_queue = [threads = static_cast<std::size_t>(std::max(1, config_.workerThreads))] {
    return new httplib::ThreadPool(threads);
  };
  // httplib's default, SO_REUSEPORT, would let a second server share the port.
  server.set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  running->route();

  if (config_.port == 0) {
    const int bound = server.bind_to_any_port(config_.listenAddress);
    running->port = bound > 0 ? static_cast<std::uint16_t>(bound) : 0;
  } else if (server.bind_to_port(config_.listenAddress, config_.port)) {
    running->port = config_.port;
  }
  if (running->port == 0) {
    throw DevServerError("cannot listen on " + endpoint(config_.listenAddress, config_.port));
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
  const std::string& address = config_.listenAddress;
  const std::string host = address == "0.0.0.0" ? "127.0.0.1" : address == "::" ? "::1" : address;
  return endpoint(host, port());
}

std::string DevServerEngine::baseUrl() const { return "https://" + hostAndPort(); }

std::vector<ReceivedEvent> DevServerEngine::events() const {
  return eventLog_ ? eventLog_->events() : std::vector<ReceivedEvent>{};
}

}  // namespace lumora::tools
