#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerEngine.hpp"
#include "devserver/DevServerError.hpp"
#include "devserver/RequestLog.hpp"
#include "devserver/SelfSignedCertificate.hpp"
#include "platform/net/CurlHttpSession.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;
using testing::TemporaryDirectory;

constexpr const char* kCreative = R"({"campaignId":12,"creativeId":345,"title":"T","message":"M"})";
constexpr const char* kCreativePath = "/bucket/binding/1/2/3/4/ios.json";
constexpr const char* kEvents = "/t/device_events";

unsigned modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// A valid event of this type, with the patch merged in (a null removes a key).
std::string event(const std::string& type, const char* patch = "{}") {
  json body = {{"timestamp", 1700000012345},
               {"eventType", type},
               {"uuid", "5B0E6A3C-9F1D-4C2B-8E7A-0D1C2B3A4F5E"},
               {"bindingId", 1234},
               {"clientInfo", {{"platform", "ios"}, {"appName", "Demo"}, {"deviceMode", "x86_64"}}},
               {"spaceInfo", {{"spaceId", "0a1b2c3d4e5f6071"}}}};
  if (type != "request") {
    body["cid"] = 12;
    body["crid"] = 345;
  }
  body.merge_patch(json::parse(patch));
  return body.dump();
}

class DevServerEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    creatives.write("bucket/binding/1/2/3/4/ios.json", kCreative);
    creatives.write("bucket/binding/-/1/2/ios.json", R"({"negative":true})");
    outside.write("bucket/binding/7/ios.json", R"({"secret":true})");
    std::filesystem::create_directory_symlink(outside.path() / "bucket",
                                              creatives.path() / "escape");
    startServer(DevServerConfig());
  }

  void startServer(DevServerConfig config) {
    server.reset();
    config.creativesDir = creatives.path();
    config.eventsFile = work.path() / "events.jsonl";
    config.console = &console;
    config.maxBodyBytes = kMaxBody;
    server = std::make_unique<DevServerEngine>(config);
    server->start();
    client = std::make_unique<httplib::SSLClient>(config.listenAddress, server->port());
    client->set_ca_cert_path(server->caFile().c_str());
    client->enable_server_certificate_verification(true);
  }

  static constexpr std::size_t kMaxBody = 4096;
  std::ostringstream console;
  TemporaryDirectory creatives, outside, work;
  std::unique_ptr<DevServerEngine> server;
  std::unique_ptr<httplib::SSLClient> client;
};

// Creatives are served from inside the tree only. Each post is answered naming
// every problem and recorded as one JSON line; every request is printed as one
// console line, whatever bytes its path and body carry.
TEST_F(DevServerEngineTest, AnswersRecordsAndPrintsEveryRequestOnce) {
  EXPECT_EQ(server->baseUrl(), "https://127.0.0.1:" + std::to_string(server->port()));
  std::string atLimit = event("request");
  atLimit.resize(kMaxBody, ' ');
  const std::string deep = std::string(100, '[') + std::string(100, ']');
  const struct {
    std::string method, path, body;
    int status;
    std::string problems = "";  // all of them, as the console joins them
    json recorded = nullptr;    // the line's "body", when not null
    std::string printedPath = "";
  } requests[] = {
      {"POST", "/no-tracking/device_events", event("request"), 200},
      {"POST", "/no-tracking/device_events", event("notification"), 200},
      {"POST", "/v1/tracking/device_events",
       event("click", R"({"clientInfo":{"deviceId":"D","phoneNumber":"+1","email":"a@b"}})"), 200},
      {"POST", kEvents, atLimit, 200},
      {"POST", kEvents, "{\"eventType\": \"\xff\xfe\"}", 400,
       "the body is not UTF-8 (recorded with \\xNN escapes)", "{\"eventType\": \"\\xff\\xfe\"}"},
      {"POST", kEvents, deep, 400, "the body is nested deeper than 32 levels", deep},
      // Printed and recorded paths keep UTF-8 and escape the rest: backslash, bytes that are
      // not UTF-8, controls (C1 too), overlong forms, surrogates, past U+10FFFF, cut short.
      {"POST", "/caf%c3%a9%5c%ff%0a%7f%c2%9b%c0%af%ed%a0%80%f4%90%80%80%e2%82/device_events", "[]",
       400, "the body must be a JSON object, got []", json::array(),
       "/caf\xc3\xa9\\\\\\xff\\x0a\\x7f\\xc2\\x9b\\xc0\\xaf\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xe2"
       "\\x82/"
       "device_events"},
      {"POST", kEvents,
       event("request",
             R"({"uuid":7,"cid":12,"clientInfo":{"appName":null,"email":5,"deviceModel":"x"}})"),
       400,
       R"("uuid" must be a string, got 7; "clientInfo.appName" is missing; "clientInfo.email" must )"
       R"(be a string, got 5; unexpected key "clientInfo.deviceModel"; "cid" must be absent for a )"
       R"(request event)"},
      {"POST", kEvents, atLimit + " ", 413},
      {"POST", "/tracking/events", event("request"), 404},
      {"GET", kCreativePath, "", 200},
      {"GET", "/bucket/binding/-/1/2/ios.json", "", 200},
      {"GET", "/other/binding/1/2/3/4/ios.json", "", 404},
      {"GET", "/bucket/binding/../../../etc/binding/1/ios.json", "", 403},
      {"GET", "/escape/binding/7/ios.json", "", 403},
      {"DELETE", "/bucket", "", 405},
  };
  for (const auto& request : requests) {
    const auto result = request.method == "POST"
                            ? client->Post(request.path, request.body, "application/json")
                        : request.method == "GET" ? client->Get(request.path)
                                                  : client->Delete(request.path);
    ASSERT_TRUE(result) << request.path;
    EXPECT_EQ(result->status, request.status) << request.path << request.body;
    if (request.problems.empty()) continue;
    std::string problems;
    const json reply = json::parse(result->body);
    for (const auto& problem : reply.at("problems")) {
      problems += (problems.empty() ? "" : "; ") + problem.get<std::string>();
    }
    EXPECT_EQ(problems, request.problems);
  }
  const auto served = client->Get(kCreativePath);
  EXPECT_EQ(served->body, kCreative);
  EXPECT_EQ(served->get_header_value("Content-Type"), "application/json");
  // Chunked: no length announced, the server stops reading past the limit.
  const std::string block(1024, ' ');
  const auto chunked = client->Post(
      kEvents,
      [&block](std::size_t offset, httplib::DataSink& sink) {
        return offset >= 2 * kMaxBody ? (sink.done(), true) : sink.write(block.data(), 1024);
      },
      "application/json");
  ASSERT_TRUE(chunked) << httplib::to_string(chunked.error());
  EXPECT_EQ(chunked->status, 413);

  const std::vector<ReceivedEvent> events = server->events();
  std::vector<json> lines;
  std::ifstream recorded(work.path() / "events.jsonl");
  for (std::string line; std::getline(recorded, line);) lines.push_back(json::parse(line));
  ASSERT_EQ(events.size(), 8u);  // posts to an events path within the limit
  ASSERT_EQ(lines.size(), events.size());
  server->stop();  // no console line is still coming
  std::vector<std::string> printed;
  std::istringstream console(this->console.str());
  for (std::string line; std::getline(console, line);) printed.push_back(line);
  ASSERT_EQ(printed.size(), std::size(requests) + 2) << console.str();
  for (std::size_t i = 0; i < std::size(requests); ++i) {
    const auto& post = requests[i];
    SCOPED_TRACE(post.body);
    const std::string path = post.printedPath.empty() ? post.path : post.printedPath;
    EXPECT_EQ(printed[i].rfind(post.method + " " + path + " -> " + std::to_string(post.status), 0),
              0u)
        << printed[i];
    if (!post.problems.empty()) {
      EXPECT_NE(printed[i].find("  INVALID: " + post.problems), std::string::npos) << printed[i];
    }
    if (i >= events.size()) continue;
    EXPECT_EQ(events[i].valid, post.status == 200);
    EXPECT_EQ(lines[i]["path"], path);
    if (!post.recorded.is_null()) {
      EXPECT_EQ(lines[i]["body"], post.recorded);
    }
    if (post.status == 200 && post.body != atLimit) {
      json expected = json::parse(post.body);
      expected.update({{"path", post.path}, {"valid", true}, {"problems", json::array()}});
      EXPECT_EQ(lines[i], expected);
    }
  }
  EXPECT_EQ(printed[0],
            "POST /no-tracking/device_events -> 200 (2 bytes)  request bindingId=1234 "
            "uuid=5B0E6A3C-9F1D-4C2B-8E7A-0D1C2B3A4F5E spaceId=0a1b2c3d4e5f6071 appName=Demo "
            "deviceMode=x86_64");
  EXPECT_EQ(printed[std::size(requests)], "GET /bucket/binding/1/2/3/4/ios.json -> 200 (" +
                                              std::to_string(strlen(kCreative)) + " bytes)");
}

// A handler's line is out before its response is sent (a client holding the
// response finds it printed); the HTTP layer's own answers print when served.
TEST(RequestLogTest, HandlerAnswersPrintAtOnceAndOnlyOnce) {
  std::ostringstream console;
  RequestLog log(&console);
  const int handled = 0, malformed = 0;
  log.answered(&handled, "POST", "/t/device_events", 200, 2, "click bindingId=1");
  EXPECT_EQ(console.str(), "POST /t/device_events -> 200 (2 bytes)  click bindingId=1\n");
  log.served(&handled, "POST", "/t/device_events", 200, 2);
  log.served(&malformed, "", "", 400, 0);
  log.served(&handled, "GET", "/again", 404, 0);  // the address of a later request
  EXPECT_EQ(console.str(),
            "POST /t/device_events -> 200 (2 bytes)  click bindingId=1\n- - -> 400 (0 bytes)\n"
            "GET /again -> 404 (0 bytes)\n");
}

TEST_F(DevServerEngineTest, IdleConnectionsDoNotHoldUpOtherClients) {
  // More idle clients than the HTTP library's default pool has threads, each
  // holding its connection without even starting the TLS handshake.
  std::vector<int> idle;
  for (int i = 0; i < 40; ++i) {
    idle.push_back(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server->port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(idle.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  // Generous: a starved request would wait for several rounds of the
  // server's 5 s read timeout.
  client->set_connection_timeout(10);  // bounds the TLS handshake
  client->set_read_timeout(10);
  const auto result = client->Get(kCreativePath);
  for (const int fd : idle) close(fd);
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 200);
}

// A given pair is served as is; a certificate folder keeps one pair across
// starts and listening addresses, IPv6 too; without either the generated pair
// goes with the server.
TEST_F(DevServerEngineTest, ServesGivenKeptOrTemporaryCertificates) {
  const std::filesystem::path temporary = server->caFile();
  server->stop();
  EXPECT_FALSE(std::filesystem::exists(temporary.parent_path()));
  EXPECT_FALSE(server->isRunning());

  const SelfSignedCertificate given = SelfSignedCertificate::generate(work.path() / "given");
  DevServerConfig config;
  config.certFile = given.certFile();
  config.keyFile = given.keyFile();
  startServer(config);
  EXPECT_EQ(server->caFile(), given.certFile());
  ASSERT_TRUE(client->Get(kCreativePath));

  const std::filesystem::path certs = work.path() / "data" / "lumora" / "devserver";
  config = DevServerConfig();
  config.certDir = certs;
  startServer(config);
  EXPECT_EQ(server->caFile(), certs / "cert.pem");
  const std::string first = work.read(certs / "cert.pem");
  ASSERT_TRUE(client->Get(kCreativePath));
  EXPECT_EQ(modeOf(certs), 0700u);
  EXPECT_EQ(modeOf(certs / "key.pem"), 0600u);

  config.listenAddress = "::1";
  startServer(config);
  EXPECT_EQ(work.read(server->caFile()), first);
  EXPECT_EQ(server->hostAndPort(), "[::1]:" + std::to_string(server->port()));
  // Fetched as the SDK fetches, trusting the server's certificate as a host would
  // (httplib's own client misreads IPv6 address names in certificates).
  lumora::platform::CurlHttpSessionOptions options;
  options.extraCaFile = server->caFile().string();
  lumora::platform::CurlHttpSession session(options);
  lumora::platform::HttpRequest request;
  request.url = "https://" + server->hostAndPort() + kCreativePath;
  std::promise<lumora::platform::HttpResult> done;
  session.dataTask(request, [&](lumora::platform::HttpResult result) { done.set_value(result); });
  const auto result = done.get_future().get();
  ASSERT_FALSE(result.error) << result.error->localizedDescription;
  EXPECT_EQ(result.response->statusCode, 200);
}

TEST(SelfSignedCertificateTest, KeptPairIsReplacedWhenItCannotServe) {
  TemporaryDirectory dir;
  const std::filesystem::path certs = dir.path() / "certs", cert = certs / "cert.pem";
  const auto keep = [&](const std::string& address = "127.0.0.1") {
    return dir.read(SelfSignedCertificate::loadOrGenerate(certs, address).certFile());
  };
  EXPECT_EQ(keep("::1"), keep());
  // The key of another pair cannot serve with the kept certificate.
  const auto other = SelfSignedCertificate::generate(dir.path() / "other");
  std::filesystem::copy_file(other.keyFile(), certs / "key.pem",
                             std::filesystem::copy_options::overwrite_existing);
  const std::string spoiled = dir.read(cert);
  const std::string replaced = keep();
  EXPECT_NE(replaced, spoiled);
  EXPECT_EQ(keep(), replaced);
  EXPECT_EQ(modeOf(certs / "key.pem"), 0600u);
  EXPECT_NE(keep("127.0.0.2"), keep()) << "another listening address";
}

TEST_F(DevServerEngineTest, UnusableSettingsFailWithOneLine) {
  DevServerConfig busy, badCertificate;
  busy.port = server->port();
  badCertificate.certFile = work.write("cert.pem", "not a certificate");
  badCertificate.keyFile = work.write("key.pem", "not a key");
  const std::pair<DevServerConfig, std::string> cases[] = {
      {busy, "cannot listen on 127.0.0.1:" + std::to_string(server->port())},
      {badCertificate, "cannot use certificate " + badCertificate.certFile->string()},
  };
  for (auto [config, message] : cases) {
    config.creativesDir = creatives.path();
    DevServerEngine engine(config);
    try {
      engine.start();
      ADD_FAILURE() << "started: " << message;
    } catch (const DevServerError& error) {
      EXPECT_FALSE(engine.isRunning());
      EXPECT_EQ(std::string(error.what()).rfind(message, 0), 0u) << error.what();
    }
  }
}

}  // namespace
}  // namespace lumora::tools
