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

/// A real HTTPS server on 127.0.0.1 (an ephemeral port) for tests of code that
/// talks to servers. Its certificate, for 127.0.0.1 and localhost, is signed by
/// a test CA generated for this server; a second CA, which signed nothing, is
/// there to be refused. Every request is recorded; replies are scripted per
/// path (any method); a path without a script answers 404 with no body. On
/// request it also listens for cleartext HTTP on a second port, with the same
/// scripts, to catch anything sent in the clear.
///
///   TestHttpsServer server;
///   server.respond("/bucket/binding/7/ios.json", {200, R"({"title":"t"})"});
///   platform::CurlHttpSessionOptions options;
///   options.extraCaFile = server.caFile();
///   ... send a request to server.url("/bucket/binding/7/ios.json") ...
///   ASSERT_TRUE(server.waitForRequests(1));
///   EXPECT_EQ(server.requests().at(0).method, "GET");
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
    /// A redirect (301, 302, 303, 307, 308) to location.
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
    /// The request target as sent: path and query, still percent-encoded.
    std::string target;
    /// The target before any "?".
    std::string path;
    /// The target after "?"; absent when the target has no "?".
    std::optional<std::string> query;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// The client's port: equal for requests on one kept-alive connection.
    int remotePort = 0;

    /// Every value of the header with this name (any case), in order.
    std::vector<std::string> headerValues(std::string_view name) const;
  };

  enum class Listeners { httpsOnly, httpsAndCleartext };

  /// Generates the certificates and starts listening; throws std::runtime_error
  /// when it cannot.
  explicit TestHttpsServer(Listeners listeners = Listeners::httpsOnly);
  /// Releases held requests, stops, and deletes the certificates.
  ~TestHttpsServer();
  TestHttpsServer(const TestHttpsServer&) = delete;
  TestHttpsServer& operator=(const TestHttpsServer&) = delete;

  int port() const;
  /// "127.0.0.1:PORT", e.g. for a creative host setting that has no scheme.
  std::string hostAndPort() const;
  /// "https://127.0.0.1:PORT" followed by pathAndQuery.
  std::string url(std::string_view pathAndQuery = "") const;
  /// "http://127.0.0.1:PORT" of the cleartext listener followed by
  /// pathAndQuery (Listeners::httpsAndCleartext only).
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
