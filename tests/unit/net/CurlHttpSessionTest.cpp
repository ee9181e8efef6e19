#include <gtest/gtest.h>

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lumora/LinuxTrust.hpp"
#include "platform/linux/LinuxPlatform.hpp"
#include "platform/net/CurlTransfer.hpp"
#include "unit/net/NetTestSupport.hpp"

namespace lumora {
namespace {

using platform::CurlHttpSession;
using platform::CurlHttpSessionOptions;
using platform::CurlTransfer;
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

  // The result is the curl error of that code whose text contains `text`.
  static void expectError(const HttpResult& result, int code, const std::string& text) {
    ASSERT_TRUE(result.error) << text;
    EXPECT_EQ(result.error->domain, "CurlError");
    EXPECT_EQ(result.error->code, code);
    EXPECT_NE(result.error->localizedDescription.find(text), std::string::npos)
        << result.error->localizedDescription;
    EXPECT_FALSE(result.body);
  }
};

// Each request completes once, on the worker thread, over the one kept-alive connection.
TEST_F(CurlHttpSessionTest, MethodHeadersAndBodyGoOnTheWireAsGiven) {
  server.respond("/thing", {200, R"({"ok":true})"});
  server.respond("/none", {204});
  const std::vector<std::string> methods{"GET", "POST", "DELETE"};
  for (const std::string& method : methods) {
    HttpRequest r = request(method == "DELETE" ? "/none" : "/thing", method);
    r.headers = {{"X-Trace", "a"}, {"X-Trace", "b"}, {"Content-Type", "application/json"}};
    if (method == "POST") r.body = std::vector<std::uint8_t>{'{', '}'};
    CompletionProbe<HttpResult> probe;
    session->dataTask(std::move(r), probe.callback());
    const auto result = std::get<0>(probe.wait());
    ASSERT_FALSE(result.error) << method << ": " << result.error->localizedDescription;
    EXPECT_EQ(result.response->statusCode, method == "DELETE" ? 204 : 200);
    EXPECT_EQ(bodyText(result), method == "DELETE" ? "" : R"({"ok":true})");
    EXPECT_NE(probe.thread(), std::this_thread::get_id());
    EXPECT_EQ(probe.calls(), 1);
  }
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 3u);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].method, methods[i]);
    EXPECT_EQ(seen[i].body, i == 1 ? "{}" : "");
    EXPECT_EQ(seen[i].headerValues("x-trace"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(seen[i].headerValues("Content-Type"), std::vector<std::string>{"application/json"});
    EXPECT_TRUE(seen[i].headerValues("Expect").empty());
    EXPECT_EQ(seen[i].remotePort, seen[0].remotePort);
  }
}

// A burst of new beacons costs the host a bounded number of connections (each
// shows as two descriptors here: the server is in-process) and a bounded wait
// list: past the transfers curl holds (16) and the 4 waiting, a request ends at
// once, unsent. Destruction ends every request before it returns.
TEST_F(CurlHttpSessionTest, ABurstIsBoundedAndDestructionEndsEveryRequest) {
  const auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator{});
  };
  const auto before = openDescriptors();
  server.respond("/held", TestHttpsServer::Response::neverAnswering());
  auto options = trustingOptions();
  options.maxWaitingRequests = 4;
  auto bounded = std::make_unique<CurlHttpSession>(options);
  std::vector<CompletionProbe<HttpResult>> probes(30);
  for (auto& probe : probes) bounded->dataTask(request("/held"), probe.callback());
  ASSERT_TRUE(server.waitForRequests(8));
  for (std::size_t i = 20; i < probes.size(); ++i) {
    expectError(std::get<0>(probes[i].wait()), CURLE_ABORTED_BY_CALLBACK,
                "Request not sent: 4 requests are already waiting for a connection");
  }
  // Without the bound every request has its socket within milliseconds; look a
  // little longer for any that would still come.
  auto most = openDescriptors();
  for (int look = 0; look < 30; ++look) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    most = std::max(most, openDescriptors());
  }
  EXPECT_LE(most - before, 2 * 8 + 4);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(probes[i].calls(), 0) << i;
  bounded.reset();
  for (std::size_t i = 0; i < 20; ++i) {
    ASSERT_EQ(probes[i].calls(), 1) << i;
    expectError(std::get<0>(probes[i].wait()), CURLE_ABORTED_BY_CALLBACK,
                "The HTTP session was shut down before the request finished");
  }
}

TEST_F(CurlHttpSessionTest, TimeOutsAndBodiesOverTheLimitEndInErrors) {
  auto options = trustingOptions();
  options.maxResponseBytes = 1000;
  CurlHttpSession limited(options);
  server.respond("/hang", TestHttpsServer::Response::neverAnswering());
  server.respond("/big", {200, std::string(1001, 'x'), "text/plain"});
  server.respond("/fits", {200, std::string(1000, 'y'), "text/plain"});
  // Compressed on the wire, the body is small; the limit applies to what it expands to.
  server.respond("/packed", {200, std::string(100000, 'z')});
  HttpRequest hang = request("/hang");
  hang.timeoutSeconds = 0.3;
  expectError(run(hang), CURLE_OPERATION_TIMEDOUT, "timed out");
  for (const std::string path : {"/big", "/packed"}) {
    SCOPED_TRACE(path);
    expectError(run(limited, request(path)), CURLE_FILESIZE_EXCEEDED,
                "The response body exceeds the limit of 1000 bytes");
  }
  EXPECT_EQ(bodyText(run(limited, request("/fits"))), std::string(1000, 'y'));
  // The packed body did travel compressed and expands past the limit.
  const auto whole = run(request("/packed"));
  ASSERT_TRUE(whole.response && whole.body);
  EXPECT_EQ(whole.body->size(), 100000u);
  EXPECT_TRUE(std::any_of(whole.response->headers.begin(), whole.response->headers.end(),
                          [](const auto& header) {
                            return strcasecmp(header.first.c_str(), "Content-Encoding") == 0;
                          }));
}

// The CA a host names in code or in LUMORA_CA_FILE is trusted in addition to
// the system's store (either alone suffices, neither refuses the server before
// any request); the one named in code wins over the variable.
TEST_F(CurlHttpSessionTest, TheHostsCaIsTrustedNextToTheSystemStoreAndAnUnusableOneIsReported) {
  server.respond("/", {200});
  struct Case {
    const char* what;
    std::string inCode;
    std::string inEnvironment;
    bool trusted;
  };
  const std::string ca = server.caFile(), other = server.otherCaFile();
  const std::vector<Case> cases{
      {"nothing chosen", "", "", false},
      {"in code", ca, "", true},
      {"in the environment", "", ca, true},
      {"code wins over the environment", other, ca, false},
  };
  for (const auto& c : cases) {
    setExtraCertificateAuthorities(c.inCode);
    if (c.inEnvironment.empty()) {
      unsetenv("LUMORA_CA_FILE");
    } else {
      setenv("LUMORA_CA_FILE", c.inEnvironment.c_str(), 1);
    }
    platform::LinuxPlatform linux;
    const auto result = run(*linux.httpSession(), request("/"));
    SCOPED_TRACE(c.what);
    if (c.trusted) {
      EXPECT_FALSE(result.error);
    } else {
      expectError(result, CURLE_PEER_FAILED_VERIFICATION, "");
    }
  }
  EXPECT_EQ(server.requests().size(), 2u) << "only the trusted sessions reached the server";
  setExtraCertificateAuthorities("");
  unsetenv("LUMORA_CA_FILE");

  // A file of extra CAs that cannot be used is reported and left out: the
  // system's store keeps serving every request.
  const auto path =
      (std::filesystem::path(server.caDirectory()).parent_path() / "broken.pem").string();
  std::ofstream(path) << "-----BEGIN CERTIFICATE-----\nAAAA!!!!\n-----END CERTIFICATE-----\n";
  CurlHttpSessionOptions options;
  options.extraCaFile = path;
  options.systemCaDirectory = server.caDirectory();
  CurlHttpSession degraded(options);
  const auto result = run(degraded, request("/"));
  EXPECT_FALSE(result.error) << result.error->localizedDescription;
  const auto records = platform->log->records();
  EXPECT_EQ(
      std::count_if(records.begin(), records.end(),
                    [&](const auto& record) {
                      return record.levelName == "ERROR" &&
                             record.message.starts_with(
                                 "Cannot trust the certificate authorities in " + path + " (");
                    }),
      1);
}

// Nothing leaves in the clear: a URL that is not https is refused before any
// connection, and a redirect is followed only to https. There a redirected POST
// (303 included) arrives with its method and body: never as a bodiless request
// whose success hides the loss.
TEST_F(CurlHttpSessionTest, NothingIsSentInTheClearAndARedirectedPostArrivesWhole) {
  TestHttpsServer clear(TestHttpsServer::Listeners::httpsAndCleartext);
  clear.respond("/device_events", {200});
  server.respond("/events",
                 TestHttpsServer::Response::redirect(307, clear.cleartextUrl("/device_events")));
  const std::pair<std::string, const char*> cases[] = {
      {clear.cleartextUrl("/device_events"), CurlTransfer::kNotHttps},
      {server.url("/events"), CurlTransfer::kRedirectRefused},
  };
  for (const auto& [url, message] : cases) {
    HttpRequest r = request("", url.ends_with("events") ? "POST" : "GET");
    r.url = url;
    if (r.method == "POST") r.body = std::vector<std::uint8_t>{'{', '}'};
    SCOPED_TRACE(url);
    const auto result = run(r);
    expectError(result, CURLE_UNSUPPORTED_PROTOCOL, message);
    EXPECT_FALSE(result.response);
  }
  EXPECT_TRUE(clear.requests().empty());
  EXPECT_EQ(server.requests().size(), 1u);

  const std::string event = R"({"clientInfo":{"phoneNumber":"+15550100"}})";
  server.respond("/device_events", {201});
  server.respond("/moved", TestHttpsServer::Response::redirect(303, server.url("/device_events")));
  HttpRequest r = request("/moved", "POST");
  r.body = std::vector<std::uint8_t>(event.begin(), event.end());
  const auto result = run(r);
  ASSERT_FALSE(result.error) << result.error->localizedDescription;
  EXPECT_EQ(result.response->statusCode, 201);
  const auto arrived = server.requests().back();
  EXPECT_EQ(arrived.path + " " + arrived.method + " " + arrived.body,
            "/device_events POST " + event);
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
  expectError(std::get<0>(pending.wait()), CURLE_ABORTED_BY_CALLBACK, "shut down");
}

}  // namespace
}  // namespace lumora
