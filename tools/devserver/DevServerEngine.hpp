#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "devserver/EventLog.hpp"

namespace lumora::tools {

/// How to run a development server.
struct DevServerConfig {
  /// The creative tree: <bucket>/binding/<digit>/.../ios.json.
  std::filesystem::path creativesDir;
  /// The IPv4 or IPv6 address to listen on; "0.0.0.0" or "::" for all.
  std::string listenAddress = "127.0.0.1";
  /// 0: any free port (port() tells which).
  std::uint16_t port = 0;
  /// Both or neither: serve with this certificate and key (the certificate is
  /// then also caFile()). Neither: a self-signed certificate is generated.
  std::optional<std::filesystem::path> certFile;
  std::optional<std::filesystem::path> keyFile;
  /// Where the generated certificate is kept: a valid one found there is used
  /// again, otherwise a new one replaces it; the directory is created
  /// (owner-only) when missing and never removed. nullopt: a private
  /// temporary directory, removed again by stop().
  std::optional<std::filesystem::path> certDir;
  /// JSON-lines file every received event is appended to; nullopt: none.
  std::optional<std::filesystem::path> eventsFile;
  /// Where one line per request served is printed; nullptr: quiet.
  std::ostream* console = nullptr;
  /// Longer request bodies are refused with 413 without being kept.
  std::size_t maxBodyBytes = 64 * 1024;
  /// How long a connection may take to send its handshake or request.
  int readTimeoutSeconds = 5;
  /// Connections served at once; each idle connection holds one until one of
  /// the timeouts closes it, so this bounds how many idle clients can be
  /// open before another client has to wait.
  int workerThreads = 64;
  /// How long a connection is kept open waiting for its next request (the
  /// first one too, once the handshake is done).
  int keepAliveSeconds = 5;
  /// Answer every request with "Connection: close". stop() waits for idle
  /// connections to close, so an embedded server that must stop at once sets
  /// this rather than a zero keep-alive: a zero wait also drops a connection
  /// whose first request is a few milliseconds late, which a busy machine
  /// turns into "Empty reply from server" at the client.
  bool closeAfterEachRequest = false;
};

/// The development server: HTTPS (by default on 127.0.0.1), serving the
/// creative tree and receiving device events as DevServerRouter describes;
/// every event is kept and appended, every request printed.
///
/// Embedding, e.g. in a scenario runner:
///   DevServerEngine server({.creativesDir = dir});
///   server.start();                               // throws DevServerError
///   config.CreativeCDNURL = server.hostAndPort(); // "127.0.0.1:PORT", no scheme
///   config.EventURL = server.baseUrl() + "/tracking";
///   http.trust(server.caFile());
///   ... server.events() ...
///   server.stop();                                // or let the destructor do it
/// Requests are served on the server's own threads. start() sets SIGPIPE to
/// be ignored, so that a client hanging up cannot end the process.
class DevServerEngine {
 public:
  explicit DevServerEngine(DevServerConfig config);
  ~DevServerEngine();
  DevServerEngine(const DevServerEngine&) = delete;
  DevServerEngine& operator=(const DevServerEngine&) = delete;

  /// Listens and serves until stop(). Throws DevServerError (with a one-line
  /// message) when the tree, the certificate, the events file or the port is
  /// unusable. Calling it while running does nothing.
  void start();
  /// Stops serving and waits for the server threads. Safe to repeat.
  void stop();

  bool isRunning() const noexcept;
  /// The bound port; 0 when not running.
  std::uint16_t port() const noexcept;
  /// The certificate a client trusts as its CA file; empty when not running.
  std::filesystem::path caFile() const;
  /// "127.0.0.1:PORT" or "[::1]:PORT": the listening address, or for a
  /// wildcard the loopback address of its family.
  std::string hostAndPort() const;
  /// "https://" + hostAndPort().
  std::string baseUrl() const;
  /// A copy of every event received so far (also after stop()).
  std::vector<ReceivedEvent> events() const;

 private:
  struct Running;

  DevServerConfig config_;
  std::unique_ptr<Running> running_;
  std::shared_ptr<EventLog> eventLog_;
};

}  // namespace lumora::tools
