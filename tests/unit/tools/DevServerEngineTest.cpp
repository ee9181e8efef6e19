#include <gtest/gtest.h>
#include <httplib.h>

#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "devserver/DevServerEngine.hpp"
#include "devserver/DevServerError.hpp"
#include "devserver/SelfSignedCertificate.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;
using testing::TemporaryDirectory;

constexpr const char* kCreative = R"({"campaignId":12,"creativeId":345,"title":"T","message":"M"})";

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
    config.creativesDir = creatives.path();
    config.eventsFile = eventsFile;
    server = std::make_unique<DevServerEngine>(std::move(config));
    server->start();
    client = std::make_unique<httplib::SSLClient>("127.0.0.1", server->port());
    client->set_ca_cert_path(server->caFile().c_str());
    client->enable_server_certificate_verification(true);
  }

  httplib::Result get(const std::string& path) { return client->Get(path.c_str()); }

  httplib::Result post(const std::string& path, const std::string& body) {
    return client->Post(path.c_str(), body, "application/json");
  }

  /// The problems the server names for a body that is the valid event changed by edit.
  std::vector<std::string> problemsFor(const std::string& type,
                                       const std::function<void(json&)>& edit) {
    json body = validEvent(type);
    edit(body);
    const auto result = post("/tracking/device_events", body.dump());
    EXPECT_TRUE(result) << httplib::to_string(result.error());
    if (!result) {
      return {};
    }
    EXPECT_EQ(result->status, 400) << body.dump();
    return json::parse(result->body).at("problems").get<std::vector<std::string>>();
  }

  std::vector<json> eventLines() const {
    std::ifstream in(eventsFile);
    std::vector<json> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(json::parse(line));
    }
    return lines;
  }

  TemporaryDirectory creatives;
  TemporaryDirectory outside;
  TemporaryDirectory work;
  std::filesystem::path eventsFile = work.path() / "events.jsonl";
  std::unique_ptr<DevServerEngine> server;
  std::unique_ptr<httplib::SSLClient> client;
};

TEST_F(DevServerEngineTest, ServesCreativesAsJsonOverVerifiedTls) {
  EXPECT_NE(server->port(), 0);
  EXPECT_EQ(server->baseUrl(), "https://127.0.0.1:" + std::to_string(server->port()));

  const auto creative = get("/bucket/binding/1/2/3/4/ios.json");
  ASSERT_TRUE(creative) << httplib::to_string(creative.error());
  EXPECT_EQ(creative->status, 200);
  EXPECT_EQ(creative->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(creative->body, kCreative);

  const auto negative = get("/bucket/binding/-/1/2/ios.json");
  ASSERT_TRUE(negative);
  EXPECT_EQ(negative->status, 200);
  EXPECT_EQ(negative->body, R"({"negative":true})");
}

TEST_F(DevServerEngineTest, ClientWithoutTheCaRefusesTheServer) {
  httplib::SSLClient stranger("127.0.0.1", server->port());
  stranger.set_ca_cert_path("/dev/null");
  stranger.enable_server_certificate_verification(true);
  const auto result = stranger.Get("/bucket/binding/1/2/3/4/ios.json");
  EXPECT_FALSE(result);
}

TEST_F(DevServerEngineTest, MissingCreativesAndOtherPathsAre404) {
  for (const char* path :
       {"/bucket/binding/9/ios.json", "/bucket/notes.json", "/bucket/binding/12/34/ios.json",
        "/bucket/binding/ios.json", "/bucket/binding/1/2/3/4/android.json",
        "/other/binding/1/2/3/4/ios.json"}) {
    const auto result = get(path);
    ASSERT_TRUE(result) << path;
    EXPECT_EQ(result->status, 404) << path;
  }
}

TEST_F(DevServerEngineTest, PathsLeavingTheTreeAre403) {
  for (const char* path : {"/bucket/binding/../../../etc/binding/1/ios.json",
                           "/../outside/binding/7/ios.json", "/escape/binding/7/ios.json"}) {
    const auto result = get(path);
    ASSERT_TRUE(result) << path;
    EXPECT_EQ(result->status, 403) << path;
    EXPECT_EQ(result->body.find("secret"), std::string::npos);
  }
}

TEST_F(DevServerEngineTest, AcceptsValidEventsOnBothEndpointsAndRecordsThem) {
  json withProfile = validEvent("click");
  withProfile["clientInfo"]["deviceId"] = "00000000-0000-0000-0000-000000000001";
  withProfile["clientInfo"]["phoneNumber"] = "+15550100";
  withProfile["clientInfo"]["email"] = "a@example.com";
  const std::vector<std::pair<std::string, json>> posts = {
      {"/no-tracking/device_events", validEvent("request")},
      {"/no-tracking/device_events", validEvent("notification")},
      {"/v1/tracking/device_events", withProfile}};
  for (const auto& [path, body] : posts) {
    const auto result = post(path, body.dump());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200) << result->body;
  }

  const std::vector<ReceivedEvent> events = server->events();
  ASSERT_EQ(events.size(), 3u);
  const std::vector<json> lines = eventLines();
  ASSERT_EQ(lines.size(), 3u);
  for (std::size_t i = 0; i < posts.size(); ++i) {
    EXPECT_TRUE(events[i].valid);
    EXPECT_EQ(events[i].path, posts[i].first);
    EXPECT_EQ(events[i].body, posts[i].second);
    json expected = posts[i].second;
    expected["path"] = posts[i].first;
    expected["valid"] = true;
    expected["problems"] = json::array();
    EXPECT_EQ(lines[i], expected);
  }
}

TEST_F(DevServerEngineTest, RejectsEachKindOfBadBodyNamingTheProblem) {
  struct Case {
    std::string type;
    std::function<void(json&)> edit;
    std::string problem;
  };
  const std::vector<Case> cases = {
      {"request", [](json& b) { b.erase("timestamp"); }, "\"timestamp\" is missing"},
      {"request", [](json& b) { b["timestamp"] = 1700000012; },
       "\"timestamp\" must be milliseconds since 1970 (13 digits), got 1700000012"},
      {"request", [](json& b) { b["timestamp"] = "1700000012345"; },
       "\"timestamp\" must be an integer, got \"1700000012345\""},
      {"request", [](json& b) { b["eventType"] = "view"; },
       "\"eventType\" must be request, notification or click, got \"view\""},
      {"request", [](json& b) { b["uuid"] = 7; }, "\"uuid\" must be a string, got 7"},
      {"request", [](json& b) { b["bindingId"] = 12.5; },
       "\"bindingId\" must be an integer, got 12.5"},
      {"request", [](json& b) { b["clientInfo"] = "ios"; },
       "\"clientInfo\" must be an object, got \"ios\""},
      {"request", [](json& b) { b["clientInfo"]["platform"] = "android"; },
       "\"clientInfo.platform\" must be \"ios\", got \"android\""},
      {"request", [](json& b) { b["clientInfo"].erase("appName"); },
       "\"clientInfo.appName\" is missing"},
      {"request", [](json& b) { b["clientInfo"]["email"] = nullptr; },
       "\"clientInfo.email\" must be a string, got null"},
      {"request", [](json& b) { b["clientInfo"]["deviceModel"] = "x86_64"; },
       "unexpected key \"clientInfo.deviceModel\""},
      {"request", [](json& b) { b["spaceInfo"]["bindingId"] = 1; },
       "unexpected key \"spaceInfo.bindingId\""},
      {"request", [](json& b) { b["spaceInfo"]["spaceId"] = 12; },
       "\"spaceInfo.spaceId\" must be a string, got 12"},
      {"request", [](json& b) { b["cid"] = 12; }, "\"cid\" must be absent for a request event"},
      {"click", [](json& b) { b.erase("crid"); }, "\"crid\" is missing"},
      {"notification", [](json& b) { b["cid"] = "12"; }, "\"cid\" must be an integer, got \"12\""},
      {"click", [](json& b) { b["systemName"] = "Linux"; }, "unexpected key \"systemName\""},
      {"request", [](json& b) { b = json::array({b}); }, "the body must be a JSON object, got [{"},
  };
  for (const Case& c : cases) {
    const std::vector<std::string> problems = problemsFor(c.type, c.edit);
    ASSERT_EQ(problems.size(), 1u) << c.problem << " / " << json(problems).dump();
    EXPECT_EQ(problems[0].substr(0, c.problem.size()), c.problem);
  }

  const auto notJson = post("/tracking/device_events", "{\"timestamp\": ");
  ASSERT_TRUE(notJson);
  EXPECT_EQ(notJson->status, 400);
  EXPECT_EQ(json::parse(notJson->body)["problems"][0], "the body is not valid JSON");

  const std::vector<ReceivedEvent> events = server->events();
  ASSERT_EQ(events.size(), cases.size() + 1);
  EXPECT_FALSE(events.back().valid);
  const json last = eventLines().back();
  EXPECT_EQ(last["body"], "{\"timestamp\": ");
  EXPECT_EQ(last["valid"], false);
  EXPECT_EQ(last["path"], "/tracking/device_events");
}

TEST_F(DevServerEngineTest, EveryProblemOfOneBodyIsReported) {
  const auto problems = problemsFor("click", [](json& b) {
    b.erase("uuid");
    b["clientInfo"]["platform"] = "linux";
    b.erase("cid");
  });
  EXPECT_EQ(problems,
            (std::vector<std::string>{"\"uuid\" is missing",
                                      "\"clientInfo.platform\" must be \"ios\", got \"linux\"",
                                      "\"cid\" is missing"}));
}

TEST_F(DevServerEngineTest, PostsOutsideDeviceEventsAre404AndNotRecorded) {
  const auto result = post("/tracking/events", validEvent("request").dump());
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 404);
  EXPECT_TRUE(server->events().empty());
}

TEST_F(DevServerEngineTest, ServesWithAGivenCertificateAndStopsCleanly) {
  const SelfSignedCertificate given = SelfSignedCertificate::generate(work.path() / "given");
  server->stop();
  EXPECT_FALSE(server->isRunning());
  EXPECT_EQ(server->port(), 0);
  DevServerConfig config;
  config.certFile = given.certFile();
  config.keyFile = given.keyFile();
  startServer(config);
  EXPECT_EQ(server->caFile(), given.certFile());
  const auto result = get("/bucket/binding/1/2/3/4/ios.json");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
}

TEST_F(DevServerEngineTest, GeneratedCertificateGoesToTheGivenDirectoryAndStays) {
  server.reset();
  DevServerConfig config;
  config.certDir = work.path() / "certs";
  startServer(config);
  EXPECT_EQ(server->caFile(), work.path() / "certs" / "cert.pem");
  server.reset();
  EXPECT_TRUE(std::filesystem::exists(work.path() / "certs" / "cert.pem"));
  EXPECT_TRUE(std::filesystem::exists(work.path() / "certs" / "key.pem"));
}

TEST_F(DevServerEngineTest, TemporaryCertificateIsRemovedOnStop) {
  const std::filesystem::path ca = server->caFile();
  EXPECT_TRUE(std::filesystem::exists(ca));
  server->stop();
  EXPECT_FALSE(std::filesystem::exists(ca.parent_path()));
}

TEST(DevServerEngineStartTest, UnusableSettingsFailWithOneLine) {
  TemporaryDirectory dir;
  const auto failure = [&dir](const std::function<void(DevServerConfig&)>& edit) -> std::string {
    DevServerConfig config;
    config.creativesDir = dir.path();
    edit(config);
    DevServerEngine engine(config);
    try {
      engine.start();
    } catch (const DevServerError& error) {
      EXPECT_FALSE(engine.isRunning());
      return error.what();
    }
    return "started";
  };
  EXPECT_EQ(failure([&](DevServerConfig& c) { c.creativesDir = dir.path() / "none"; }),
            "creative tree " + (dir.path() / "none").string() + " is not a directory");
  EXPECT_EQ(failure([&](DevServerConfig& c) { c.certFile = dir.path() / "cert.pem"; }),
            "a certificate needs both a certificate file and a key file");
  const std::string badCert = failure([&](DevServerConfig& c) {
    c.certFile = dir.write("cert.pem", "not a certificate");
    c.keyFile = dir.write("key.pem", "not a key");
  });
  EXPECT_EQ(badCert.rfind("cannot use certificate ", 0), 0u) << badCert;
  EXPECT_EQ(failure([&](DevServerConfig& c) { c.eventsFile = dir.path() / "no" / "e.jsonl"; }),
            "cannot open events file " + (dir.path() / "no" / "e.jsonl").string());

  DevServerConfig first;
  first.creativesDir = dir.path();
  DevServerEngine running(first);
  running.start();
  EXPECT_EQ(failure([&](DevServerConfig& c) { c.port = running.port(); }),
            "cannot listen on 127.0.0.1:" + std::to_string(running.port()));
}

}  // namespace
}  // namespace lumora::tools
