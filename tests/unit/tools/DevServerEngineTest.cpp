#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerEngine.hpp"
#include "devserver/DevServerError.hpp"
#include "devserver/EscapedText.hpp"
#include "devserver/SelfSignedCertificate.hpp"
#include "platform/net/CurlHttpSession.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;
using testing::TemporaryDirectory;

constexpr const char* kCreative = R"({"campaignId":12,"creativeId":345,"title":"T","message":"M"})";

std::string readText(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

unsigned modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

json validEvent(const std::string& type) {
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
  return body;
}

class DevServerEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    creatives.write("bucket/binding/1/2/3/4/ios.json", kCreative);
    creatives.write("bucket/binding/-/1/2/ios.json", R"({"negative":true})");
    creatives.write("bucket/notes.json", "{}");
    outside.write("bucket/binding/7/ios.json", R"({"secret":true})");
    std::filesystem::create_directory_symlink(outside.path() / "bucket",
                                              creatives.path() / "escape");
    startServer(DevServerConfig());
  }

  void startServer(DevServerConfig config) {
    server.reset();
    config.creativesDir = creatives.path();
    config.eventsFile = eventsFile;
    config.console = &console;
    config.maxBodyBytes = kMaxBody;
    const std::string address = config.listenAddress;
    server = std::make_unique<DevServerEngine>(std::move(config));
    server->start();
    client = std::make_unique<httplib::SSLClient>(address, server->port());
    client->set_ca_cert_path(server->caFile().c_str());
    client->enable_server_certificate_verification(true);
  }

  httplib::Result get(const std::string& path) { return client->Get(path.c_str()); }

  httplib::Result post(const std::string& path, const std::string& body) {
    return client->Post(path.c_str(), body, "application/json");
  }

  std::vector<json> eventLines() const {
    std::ifstream in(eventsFile);
    std::vector<json> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(json::parse(line));
    return lines;
  }

  /// Every line the server printed; stops the server first, so that no line is still coming.
  std::vector<std::string> consoleLines() {
    server->stop();
    std::istringstream in(console.str());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  static constexpr std::size_t kMaxBody = 4096;
  std::ostringstream console;
  TemporaryDirectory creatives;
  TemporaryDirectory outside;
  TemporaryDirectory work;
  std::filesystem::path eventsFile = work.path() / "events.jsonl";
  std::unique_ptr<DevServerEngine> server;
  std::unique_ptr<httplib::SSLClient> client;
};

TEST_F(DevServerEngineTest, ServesCreativesInsideTheTreeOnlyAndOverVerifiedTlsOnly) {
  EXPECT_EQ(server->baseUrl(), "https://127.0.0.1:" + std::to_string(server->port()));
  const struct {
    const char* path;
    int status;
    const char* body;  // nullptr: anything but the secret
  } cases[] = {
      {"/bucket/binding/1/2/3/4/ios.json", 200, kCreative},
      {"/bucket/binding/-/1/2/ios.json", 200, R"({"negative":true})"},
      {"/bucket/binding/9/ios.json", 404, nullptr},
      {"/bucket/notes.json", 404, nullptr},
      {"/bucket/binding/12/34/ios.json", 404, nullptr},
      {"/bucket/binding/ios.json", 404, nullptr},
      {"/bucket/binding/1/2/3/4/android.json", 404, nullptr},
      {"/other/binding/1/2/3/4/ios.json", 404, nullptr},
      {"/bucket/binding/../../../etc/binding/1/ios.json", 403, nullptr},
      {"/../outside/binding/7/ios.json", 403, nullptr},
      {"/escape/binding/7/ios.json", 403, nullptr},
  };
  for (const auto& c : cases) {
    const auto result = get(c.path);
    ASSERT_TRUE(result) << c.path;
    EXPECT_EQ(result->status, c.status) << c.path;
    if (c.body) {
      EXPECT_EQ(result->body, c.body);
      EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
    }
    EXPECT_EQ(result->body.find("secret"), std::string::npos);
  }
  httplib::SSLClient stranger("127.0.0.1", server->port());
  stranger.set_ca_cert_path("/dev/null");
  stranger.enable_server_certificate_verification(true);
  EXPECT_FALSE(stranger.Get("/bucket/binding/1/2/3/4/ios.json"));
  const std::vector<std::string> printed = consoleLines();
  ASSERT_EQ(printed.size(), std::size(cases));
  EXPECT_EQ(printed[0].rfind("GET /bucket/binding/1/2/3/4/ios.json -> 200 (" +
                                 std::to_string(strlen(kCreative)) + " bytes)",
                             0),
            0u);
  EXPECT_EQ(printed[2].rfind("GET /bucket/binding/9/ios.json -> 404 (", 0), 0u) << printed[2];
}

std::string edited(const std::string& type, const std::function<void(json&)>& edit) {
  json body = validEvent(type);
  edit(body);
  return body.dump();
}

// Each post is answered, recorded as one JSON line and printed as one console
// line, whatever bytes its path and body carry.
TEST_F(DevServerEngineTest, AnswersRecordsAndPrintsEveryPostOnce) {
  std::string atLimit = validEvent("request").dump();
  atLimit.resize(kMaxBody, ' ');
  const std::string deep = std::string(100, '[') + std::string(100, ']');
  const std::string notUtf8 = "the body is not UTF-8 (recorded with \\xNN escapes)";
  const std::string withProfile = edited("click", [](json& b) {
    b["clientInfo"]["deviceId"] = "00000000-0000-0000-0000-000000000001";
    b["clientInfo"]["phoneNumber"] = "+15550100";
    b["clientInfo"]["email"] = "a@example.com";
  });
  const struct {
    std::string path, body;
    int status;
    std::string problem;  // the first one named
    json recorded;        // the line's "body", when not null
    std::string printedPath;
  } cases[] = {
      {"/no-tracking/device_events", validEvent("request").dump(), 200, "", nullptr, ""},
      {"/no-tracking/device_events", validEvent("notification").dump(), 200, "", nullptr, ""},
      {"/v1/tracking/device_events", withProfile, 200, "", nullptr, ""},
      {"/t/device_events", atLimit, 200, "", nullptr, ""},
      {"/t/device_events", "{\"timestamp\": ", 400, "the body is not valid JSON",
       "{\"timestamp\": ", ""},
      {"/t/device_events", "{\"eventType\": \"\xff\xfe\"}", 400, notUtf8,
       "{\"eventType\": \"\\xff\\xfe\"}", ""},
      {"/t/device_events", "\xc0\xaf\\\x1b[2J", 400, notUtf8, "\\xc0\\xaf\\\\\\x1b[2J", ""},
      {"/t/device_events", deep, 400, "the body is nested deeper than 32 levels", deep, ""},
      {"/t/device_events", edited("request", [](json& b) { b["a\nb"] = 1; }), 400,
       "unexpected key \"a\\nb\"", nullptr, ""},
      {"/x%ff%0a/device_events", "[]", 400, "the body must be a JSON object, got []", json::array(),
       "/x\\xff\\x0a/device_events"},
      {"/t/device_events", atLimit + " ", 413, "", nullptr, ""},
      {"/tracking/events", validEvent("request").dump(), 404, "", nullptr, ""},
  };
  for (const auto& c : cases) {
    const auto result = post(c.path, c.body);
    ASSERT_TRUE(result) << c.path;
    EXPECT_EQ(result->status, c.status) << c.body;
    if (!c.problem.empty()) {
      EXPECT_EQ(json::parse(result->body)["problems"][0], c.problem);
    }
  }
  // Chunked: no length announced, the server stops reading past the limit.
  const std::string block(1024, ' ');
  const auto chunked = client->Post(
      "/t/device_events",
      [&block](std::size_t offset, httplib::DataSink& sink) {
        return offset >= 2 * kMaxBody ? (sink.done(), true) : sink.write(block.data(), 1024);
      },
      "application/json");
  ASSERT_TRUE(chunked) << httplib::to_string(chunked.error());
  EXPECT_EQ(chunked->status, 413);

  const std::vector<ReceivedEvent> events = server->events();
  const std::vector<json> lines = eventLines();
  ASSERT_EQ(events.size(), 10u);  // neither the oversized nor the misrouted ones
  ASSERT_EQ(lines.size(), 10u);
  const std::vector<std::string> printed = consoleLines();
  ASSERT_EQ(printed.size(), std::size(cases) + 1) << console.str();
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    const std::string path = c.printedPath.empty() ? c.path : c.printedPath;
    EXPECT_EQ(printed[i].rfind("POST " + path + " -> " + std::to_string(c.status) + " (", 0), 0u)
        << printed[i];
    if (i >= events.size()) continue;
    EXPECT_EQ(events[i].valid, c.status == 200) << i;
    EXPECT_EQ(lines[i]["path"], path) << i;
    EXPECT_EQ(lines[i]["valid"], c.status == 200) << i;
    if (!c.recorded.is_null()) {
      EXPECT_EQ(lines[i]["body"], c.recorded) << i;
    }
    if (c.status == 200 && c.body != atLimit) {
      json expected = json::parse(c.body);
      expected["path"] = c.path;
      expected["valid"] = true;
      expected["problems"] = json::array();
      EXPECT_EQ(lines[i], expected);
    }
  }
  EXPECT_EQ(printed[0],
            "POST /no-tracking/device_events -> 200 (2 bytes)  request bindingId=1234 "
            "uuid=5B0E6A3C-9F1D-4C2B-8E7A-0D1C2B3A4F5E spaceId=0a1b2c3d4e5f6071 appName=Demo "
            "deviceMode=x86_64");
}

TEST_F(DevServerEngineTest, RejectsEachKindOfBadEventNamingEveryProblem) {
  const struct {
    std::string type;
    std::function<void(json&)> edit;
    std::vector<std::string> problems;  // the first of a problem's words
  } cases[] = {
      {"request", [](json& b) { b.erase("timestamp"); }, {"\"timestamp\" is missing"}},
      {"request",
       [](json& b) { b["timestamp"] = 1700000012; },
       {"\"timestamp\" must be milliseconds since 1970 (13 digits), got 1700000012"}},
      {"request",
       [](json& b) { b["timestamp"] = "1700000012345"; },
       {"\"timestamp\" must be an integer, got \"1700000012345\""}},
      {"request",
       [](json& b) { b["eventType"] = "view"; },
       {"\"eventType\" must be request, notification or click, got \"view\""}},
      {"request", [](json& b) { b["uuid"] = 7; }, {"\"uuid\" must be a string, got 7"}},
      {"request",
       [](json& b) { b["clientInfo"] = "ios"; },
       {"\"clientInfo\" must be an object, got \"ios\""}},
      {"request",
       [](json& b) { b["clientInfo"].erase("appName"); },
       {"\"clientInfo.appName\" is missing"}},
      {"request",
       [](json& b) { b["clientInfo"]["email"] = nullptr; },
       {"\"clientInfo.email\" must be a string, got null"}},
      {"request",
       [](json& b) { b["clientInfo"]["deviceModel"] = "x86_64"; },
       {"unexpected key \"clientInfo.deviceModel\""}},
      {"request", [](json& b) { b["cid"] = 12; }, {"\"cid\" must be absent for a request event"}},
      {"notification",
       [](json& b) { b["cid"] = "12"; },
       {"\"cid\" must be an integer, got \"12\""}},
      {"click", [](json& b) { b["systemName"] = "Linux"; }, {"unexpected key \"systemName\""}},
      {"request",
       [](json& b) { b = json::array({b}); },
       {"the body must be a JSON object, got [{"}},
      {"click",
       [](json& b) {
         b.erase("uuid");
         b["clientInfo"]["platform"] = "linux";
         b.erase("crid");
       },
       {"\"uuid\" is missing", "\"clientInfo.platform\" must be \"ios\", got \"linux\"",
        "\"crid\" is missing"}},
  };
  for (const auto& c : cases) {
    const auto result = post("/tracking/device_events", edited(c.type, c.edit));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 400);
    const auto problems = json::parse(result->body).at("problems").get<std::vector<std::string>>();
    ASSERT_EQ(problems.size(), c.problems.size()) << result->body;
    for (std::size_t i = 0; i < problems.size(); ++i) {
      EXPECT_EQ(problems[i].substr(0, c.problems[i].size()), c.problems[i]);
    }
  }
  client->Delete("/bucket");
  const std::vector<std::string> printed = consoleLines();
  EXPECT_NE(printed[0].find("  INVALID: \"timestamp\" is missing"), std::string::npos)
      << printed[0];
  EXPECT_EQ(printed.back().rfind("DELETE /bucket -> 405 (", 0), 0u) << printed.back();
}

TEST_F(DevServerEngineTest, IdleConnectionsDoNotHoldUpOtherClients) {
  // More idle clients than the HTTP library's default pool has threads, each
  // holding its connection without even starting the TLS handshake.
  constexpr int kIdle = 40;
  std::vector<int> idle;
  for (int i = 0; i < kIdle; ++i) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server->port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    idle.push_back(fd);
  }
  // Generous: a starved request would wait for several rounds of the
  // server's 5 s read timeout.
  client->set_connection_timeout(10);  // bounds the TLS handshake
  client->set_read_timeout(10);
  const auto result = get("/bucket/binding/1/2/3/4/ios.json");
  for (const int fd : idle) {
    close(fd);
  }
  ASSERT_TRUE(result) << httplib::to_string(result.error());
  EXPECT_EQ(result->status, 200);
}

TEST_F(DevServerEngineTest, ListensOnAnIpv6AddressItsCertificateNames) {
  server.reset();
  DevServerConfig config;
  config.listenAddress = "::1";
  startServer(config);
  EXPECT_EQ(server->hostAndPort(), "[::1]:" + std::to_string(server->port()));
  // Fetched as the SDK fetches, trusting the server's certificate as a host would
  // (httplib's own client misreads IPv6 address names in certificates).
  lumora::platform::CurlHttpSessionOptions options;
  options.extraCaFile = server->caFile().string();
  lumora::platform::CurlHttpSession session(options);
  lumora::platform::HttpRequest request;
  request.url = "https://" + server->hostAndPort() + "/bucket/binding/1/2/3/4/ios.json";
  std::promise<lumora::platform::HttpResult> done;
  session.dataTask(request, [&](lumora::platform::HttpResult result) { done.set_value(result); });
  const auto result = done.get_future().get();
  ASSERT_FALSE(result.error) << result.error->localizedDescription;
  ASSERT_TRUE(result.response);
  EXPECT_EQ(result.response->statusCode, 200);
}

// A given pair is served as is; a certificate folder keeps one pair across
// starts; without either the generated pair goes with the server.
TEST_F(DevServerEngineTest, ServesGivenKeptOrTemporaryCertificates) {
  const std::filesystem::path temporary = server->caFile();
  EXPECT_TRUE(std::filesystem::exists(temporary));
  server->stop();
  EXPECT_FALSE(std::filesystem::exists(temporary.parent_path()));
  EXPECT_FALSE(server->isRunning());
  EXPECT_EQ(server->port(), 0);

  const SelfSignedCertificate given = SelfSignedCertificate::generate(work.path() / "given");
  DevServerConfig config;
  config.certFile = given.certFile();
  config.keyFile = given.keyFile();
  startServer(config);
  EXPECT_EQ(server->caFile(), given.certFile());
  const auto served = get("/bucket/binding/1/2/3/4/ios.json");
  ASSERT_TRUE(served) << httplib::to_string(served.error());
  EXPECT_EQ(served->status, 200);

  const std::filesystem::path certs = work.path() / "data" / "lumora" / "devserver";
  config = DevServerConfig();
  config.certDir = certs;
  startServer(config);
  EXPECT_EQ(server->caFile(), certs / "cert.pem");
  const std::string first = readText(certs / "cert.pem");
  startServer(config);
  EXPECT_EQ(readText(server->caFile()), first);
  ASSERT_TRUE(get("/bucket/binding/1/2/3/4/ios.json"));
  EXPECT_EQ(modeOf(certs), 0700u);
  EXPECT_EQ(modeOf(certs / "key.pem"), 0600u);
}

TEST(SelfSignedCertificateTest, KeptPairIsReplacedWhenItCannotServe) {
  TemporaryDirectory dir;
  const std::filesystem::path certs = dir.path() / "certs", cert = certs / "cert.pem";
  const auto keep = [&certs](const std::string& address = "127.0.0.1") {
    return readText(SelfSignedCertificate::loadOrGenerate(certs, address).certFile());
  };
  EXPECT_EQ(keep("::1"), keep());
  const std::vector<std::pair<std::string, std::function<void()>>> spoilers = {
      {"expiring within a day",
       [&] { SelfSignedCertificate::generate(certs, "127.0.0.1", std::chrono::hours(2)); }},
      {"key is not PEM", [&] { dir.write("certs/key.pem", "junk"); }},
      {"certificate missing", [&] { std::filesystem::remove(cert); }},
      {"key of another pair",
       [&] {
         const auto other = SelfSignedCertificate::generate(dir.path() / "other");
         std::filesystem::copy_file(other.keyFile(), certs / "key.pem",
                                    std::filesystem::copy_options::overwrite_existing);
       }},
      {"certificate is a FIFO",
       [&] { ASSERT_EQ(std::filesystem::remove(cert) && mkfifo(cert.c_str(), 0600) == 0, true); }},
  };
  for (const auto& [name, spoil] : spoilers) {
    spoil();
    const std::string spoiled = std::filesystem::is_regular_file(cert) ? readText(cert) : "";
    const std::string replaced = keep();
    EXPECT_NE(replaced, spoiled) << name;
    EXPECT_EQ(keep(), replaced) << name;
    EXPECT_EQ(modeOf(certs / "key.pem"), 0600) << name;
  }
  EXPECT_NE(keep("127.0.0.2"), keep()) << "another listening address";
}

TEST(EscapedTextTest, KeepsUtf8AndEscapesEverythingElseReversibly) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"plain /path", "plain /path"},
      {"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"},
      {"a\\b", "a\\\\b"},
      {"\xff", "\\xff"},
      {std::string("\n\t\x7f\0", 4), "\\x0a\\x09\\x7f\\x00"},
      {"\xc2\x9b", "\\xc2\\x9b"},                    // C1 control (CSI)
      {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong "/"
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // past U+10FFFF
      {"\xe2\x82", "\\xe2\\x82"},                    // cut short
  };
  for (const auto& [raw, escaped] : cases) {
    EXPECT_EQ(EscapedText::of(raw), escaped) << escaped;
    EXPECT_TRUE(EscapedText::isValidUtf8(EscapedText::of(raw))) << escaped;
  }
}

TEST(DevServerEngineStartTest, UnusableSettingsFailWithOneLine) {
  TemporaryDirectory dir;
  DevServerConfig first;
  first.creativesDir = dir.path();
  DevServerEngine running(first);
  running.start();
  const std::string none = (dir.path() / "none").string();
  const std::vector<std::pair<std::function<void(DevServerConfig&)>, std::string>> cases = {
      {[&](DevServerConfig& c) { c.creativesDir = none; },
       "creative tree " + none + " is not a directory"},
      {[&](DevServerConfig& c) { c.certFile = dir.path() / "cert.pem"; },
       "a certificate needs both a certificate file and a key file"},
      {[&](DevServerConfig& c) {
         c.certFile = dir.write("cert.pem", "not a certificate");
         c.keyFile = dir.write("key.pem", "not a key");
       },
       "cannot use certificate " + (dir.path() / "cert.pem").string()},
      {[&](DevServerConfig& c) { c.eventsFile = none + "/e.jsonl"; },
       "cannot open events file " + none + "/e.jsonl"},
      {[&](DevServerConfig& c) { c.port = running.port(); },
       "cannot listen on 127.0.0.1:" + std::to_string(running.port())},
  };
  for (const auto& [edit, message] : cases) {
    DevServerConfig config = first;
    edit(config);
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
