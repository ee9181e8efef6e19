#pragma once

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
  /// 0: any free port (port() tells which).
  std::uint16_t port = 0;
  /// Both or neither: serve with this certificate and key (the certificate is
  /// then also caFile()). Neither: a self-signed certificate is generated.
  std::optional<std::filesystem::path> certFile;
  std::optional<std::filesystem::path> keyFile;
  /// Where a generated certificate is written and kept; nullopt: a temporary
  /// directory, removed again by stop().
  std::optional<std::filesystem::path> certDir;
  /// JSON-lines file every received event is appended to; nullopt: none.
  std::optional<std::filesystem::path> eventsFile;
  /// Where one line per received event is printed; nullptr: quiet.
  std::ostream* console = nullptr;
  /// How long an idle connection is kept open for the next request. stop()
  /// waits for idle connections to close, so an embedded server that must
  /// stop at once uses 0 (each connection then serves back-to-back requests only).
  int keepAliveSeconds = 5;
};

/// The development server: HTTPS on 127.0.0.1, serving the creative tree
///   GET /<bucket>/binding/1/2/3/ios.json -> the file (application/json),
///   404 when there is none, 403 for a path that leaves the tree,
/// and receiving device events
///   POST /<anything>/device_events -> 200 for a valid event, 400 with
///   {"problems": [...]} otherwise; every event is kept, printed and appended.
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
  /// "127.0.0.1:PORT".
  std::string hostAndPort() const;
  /// "https://127.0.0.1:PORT".
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
