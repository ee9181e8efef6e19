#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumora::testing {

/// A real HTTPS server on 127.0.0.1 (an ephemeral port) whose certificate is
/// signed by a test CA made for it (a second CA signed nothing). It records
/// every request and replies as scripted per path (404 otherwise); on request
/// it also listens for cleartext HTTP, to catch anything sent in the clear.
class TestHttpsServer {
 public:
  struct Response {
    Response(int status = 200, std::string body = {}, std::string contentType = "application/json")
        : status(status), body(std::move(body)), contentType(std::move(contentType)) {}
    /// Held until the server stops, never answered.
    static Response neverAnswering() {
      Response response;
      response.neverAnswer = true;
      return response;
    }
    static Response redirect(int status, std::string location) {
      Response response(status);
      response.location = std::move(location);
      return response;
    }

    int status;
    std::string body;
    std::string contentType;
    bool neverAnswer = false;
    std::string location;  // the Location header, when not empty
  };

  struct Request {
    std::string method;
    std::string target;                // as sent: path and query, still percent-encoded
    std::string path;                  // the target before any "?"
    std::optional<std::string> query;  // after "?", if any
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    int remotePort = 0;  // equal for requests on one kept-alive connection

    /// Every value of the header with this name (any case), in order.
    std::vector<std::string> headerValues(std::string_view name) const;
  };

  enum class Listeners { httpsOnly, httpsAndCleartext };

  /// Throws std::runtime_error when it cannot start.
  explicit TestHttpsServer(Listeners listeners = Listeners::httpsOnly);
  /// Releases held requests, stops, and deletes the certificates.
  ~TestHttpsServer();
  TestHttpsServer(const TestHttpsServer&) = delete;
  TestHttpsServer& operator=(const TestHttpsServer&) = delete;

  /// "127.0.0.1:PORT", e.g. for a creative host setting that has no scheme.
  std::string hostAndPort() const;
  /// "https://127.0.0.1:PORT" followed by pathAndQuery.
  std::string url(std::string_view pathAndQuery = "") const;
  /// The same on the cleartext listener (Listeners::httpsAndCleartext only).
  std::string cleartextUrl(std::string_view pathAndQuery = "") const;
  /// PEM file of the CA that signed the server's certificate.
  const std::string& caFile() const;
  /// PEM file of a CA that did not.
  const std::string& otherCaFile() const;
  /// A hashed CA directory (like /etc/ssl/certs) holding only the signing CA.
  const std::string& caDirectory() const;

  /// Replies to later requests for exactly this path (the raw path, no query).
  void respond(const std::string& path, Response response);
  std::vector<Request> requests() const;
  /// Waits until at least count requests have arrived; false after limit.
  bool waitForRequests(std::size_t count,
                       std::chrono::seconds limit = std::chrono::seconds(10)) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace lumora::testing
