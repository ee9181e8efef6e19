#include <gtest/gtest.h>

#include <curl/curl.h>
#include <strings.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "unit/net/NetTestSupport.hpp"

namespace lumora {
namespace {

using platform::CurlHttpSession;
using platform::CurlHttpSessionOptions;
using platform::HttpRequest;
using platform::HttpResult;
using testing::CompletionProbe;
using testing::TestHttpsServer;

class CurlHttpSessionTest : public testing::NetTest {
 protected:
  HttpRequest request(const std::string& path, std::string method = "GET") const {
    HttpRequest r;
    r.url = server.url(path);
    r.method = std::move(method);
    return r;
  }

  HttpResult run(platform::HttpSession& on, HttpRequest r) const {
    CompletionProbe<HttpResult> probe;
    on.dataTask(std::move(r), probe.callback());
    return std::get<0>(probe.wait());
  }

  HttpResult run(HttpRequest r) const { return run(*session, std::move(r)); }

  std::string bodyText(const HttpResult& result) const {
    return result.body ? std::string(result.body->begin(), result.body->end()) : "(none)";
  }

  std::string emptyDirectory() {
    const auto path = std::filesystem::path(server.caDirectory()).parent_path() / "empty";
    std::filesystem::create_directories(path);
    return path.string();
  }
};

TEST_F(CurlHttpSessionTest, MethodHeadersAndBodyGoOnTheWireAsGiven) {
  server.respond("/thing", {200, R"({"ok":true})"});
  for (const std::string method : {"GET", "POST", "PUT", "DELETE"}) {
    HttpRequest r = request("/thing", method);
    r.headers = {{"X-Trace", "a"}, {"X-Trace", "b"}, {"Content-Type", "application/json"}};
    if (method == "POST" || method == "PUT") r.body = std::vector<std::uint8_t>{'{', '}'};
    const auto result = run(r);
    ASSERT_FALSE(result.error) << method << ": " << result.error->localizedDescription;
    ASSERT_TRUE(result.response);
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_EQ(bodyText(result), R"({"ok":true})");
  }
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 4u);
  const std::vector<std::string> methods{"GET", "POST", "PUT", "DELETE"};
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].method, methods[i]);
    EXPECT_EQ(seen[i].target, "/thing");
    EXPECT_EQ(seen[i].body, i == 1 || i == 2 ? "{}" : "");
    EXPECT_EQ(seen[i].headerValues("x-trace"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(seen[i].headerValues("Content-Type"), std::vector<std::string>{"application/json"});
    EXPECT_TRUE(seen[i].headerValues("Expect").empty());
  }
}

TEST_F(CurlHttpSessionTest, CompletionRunsOnceOnTheWorkerThreadWithResponseHeaders) {
  server.respond("/h", {204});
  CompletionProbe<HttpResult> probe;
  session->dataTask(request("/h"), probe.callback());
  const auto result = std::get<0>(probe.wait());
  EXPECT_NE(probe.thread(), std::this_thread::get_id());
  ASSERT_TRUE(result.response);
  EXPECT_EQ(result.response->statusCode, 204);
  EXPECT_EQ(bodyText(result), "");
  session.reset();
  EXPECT_EQ(probe.calls(), 1);
}

TEST_F(CurlHttpSessionTest, KeptAliveConnectionIsReusedForTheNextRequest) {
  server.respond("/a", {200, "1"});
  run(request("/a"));
  run(request("/a"));
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].remotePort, seen[1].remotePort);
}

TEST_F(CurlHttpSessionTest, ServerThatNeverAnswersEndsInATimeOutError) {
  server.respond("/hang", TestHttpsServer::Response::neverAnswering());
  HttpRequest r = request("/hang");
  r.timeoutSeconds = 0.3;
  const auto result = run(r);
  ASSERT_TRUE(result.error);
  EXPECT_FALSE(result.response);
  EXPECT_EQ(result.error->domain, "CurlError");
  EXPECT_EQ(result.error->code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_NE(result.error->localizedDescription.find("timed out"), std::string::npos)
      << result.error->localizedDescription;
}

TEST_F(CurlHttpSessionTest, BodyOverTheLimitEndsInAnErrorAndOneAtTheLimitIsKept) {
  auto options = trustingOptions();
  options.maxResponseBytes = 1000;
  CurlHttpSession limited(options);
  server.respond("/big", {200, std::string(1001, 'x'), "text/plain"});
  server.respond("/fits", {200, std::string(1000, 'y'), "text/plain"});
  // Compressed on the wire, the body is small; the limit applies to what it expands to.
  server.respond("/packed", {200, std::string(100000, 'z')});

  for (const std::string path : {"/big", "/packed"}) {
    const auto result = run(limited, request(path));
    ASSERT_TRUE(result.error) << path;
    EXPECT_EQ(result.error->domain, "CurlError");
    EXPECT_EQ(result.error->code, CURLE_FILESIZE_EXCEEDED);
    EXPECT_EQ(result.error->localizedDescription,
              "The response body exceeds the limit of 1000 bytes");
    EXPECT_FALSE(result.body);
  }
  // The packed body did travel compressed and expands past the limit.
  const auto whole = run(request("/packed"));
  ASSERT_TRUE(whole.response && whole.body);
  EXPECT_EQ(whole.body->size(), 100000u);
  bool compressed = false;
  for (const auto& [name, value] : whole.response->headers) {
    compressed =
        compressed || (strcasecmp(name.c_str(), "Content-Encoding") == 0 && !value.empty());
  }
  EXPECT_TRUE(compressed);

  const auto fits = run(limited, request("/fits"));
  ASSERT_FALSE(fits.error);
  EXPECT_EQ(bodyText(fits), std::string(1000, 'y'));
}

TEST_F(CurlHttpSessionTest, CertificateFromAnUntrustedCaIsRefused) {
  server.respond("/", {200});
  CurlHttpSessionOptions systemOnly;
  CurlHttpSessionOptions otherCa;
  otherCa.extraCaFile = server.otherCaFile();
  otherCa.systemCaDirectory = emptyDirectory();
  for (const auto& options : {systemOnly, otherCa}) {
    CurlHttpSession strict(options);
    const auto result = run(strict, request("/"));
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->domain, "CurlError");
    EXPECT_EQ(result.error->code, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_FALSE(result.error->localizedDescription.empty());
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlHttpSessionTest, ExtraCaFileIsTrustedAlongsideTheSystemDirectory) {
  server.respond("/", {200});
  CurlHttpSessionOptions extraOnly;  // the signing CA as the extra file, nothing in the system
  extraOnly.extraCaFile = server.caFile();
  extraOnly.systemCaDirectory = emptyDirectory();
  CurlHttpSessionOptions systemOnly;  // an unrelated extra file, the signing CA in the system
  systemOnly.extraCaFile = server.otherCaFile();
  systemOnly.systemCaDirectory = server.caDirectory();
  for (const auto& options : {extraOnly, systemOnly}) {
    CurlHttpSession trusting(options);
    const auto result = run(trusting, request("/"));
    EXPECT_FALSE(result.error) << result.error->localizedDescription;
  }
}

TEST_F(CurlHttpSessionTest, OnlyHttpAndHttpsAreSpoken) {
  for (const std::string url :
       {"file:///etc/hostname", "ftp://127.0.0.1/x", "gopher://127.0.0.1/"}) {
    HttpRequest r;
    r.url = url;
    const auto result = run(r);
    ASSERT_TRUE(result.error) << url;
    EXPECT_EQ(result.error->code, CURLE_UNSUPPORTED_PROTOCOL) << url;
    EXPECT_FALSE(result.body) << url;
  }
}

TEST_F(CurlHttpSessionTest, DestructionCancelsEveryRequestInFlightBeforeItReturns) {
  server.respond("/hang", TestHttpsServer::Response::neverAnswering());
  CompletionProbe<HttpResult> first, second;
  session->dataTask(request("/hang"), first.callback());
  session->dataTask(request("/hang"), second.callback());
  ASSERT_TRUE(server.waitForRequests(2));
  session.reset();
  ASSERT_EQ(first.calls(), 1);
  ASSERT_EQ(second.calls(), 1);
  for (const auto* probe : {&first, &second}) {
    const auto result = std::get<0>(probe->wait());
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->domain, "CurlError");
    EXPECT_EQ(result.error->code, CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(result.error->localizedDescription,
              "The HTTP session was shut down before the request finished");
  }
}

TEST_F(CurlHttpSessionTest, SessionReleasedByItsOwnCompletionWindsDown) {
  server.respond("/a", {200, "1"});
  server.respond("/hang", TestHttpsServer::Response::neverAnswering());
  auto owner = std::make_shared<std::shared_ptr<platform::HttpSession>>(std::move(session));
  CompletionProbe<HttpResult> pending;
  (*owner)->dataTask(request("/hang"), pending.callback());
  ASSERT_TRUE(server.waitForRequests(1));
  CompletionProbe<bool> released;
  (*owner)->dataTask(request("/a"), [owner, done = released.callback()](HttpResult) {
    owner->reset();  // the last reference: the session is destroyed on its own thread
    done(true);
  });
  owner.reset();
  released.wait();
  const auto result = std::get<0>(pending.wait());
  ASSERT_TRUE(result.error);
  EXPECT_EQ(result.error->code, CURLE_ABORTED_BY_CALLBACK);
}

}  // namespace
}  // namespace lumora
