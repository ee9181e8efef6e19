#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "core/net/CreativeWebService.hpp"
#include "unit/net/NetTestSupport.hpp"

namespace lumora {
namespace {

using testing::CompletionProbe;
using ErrorType = LumoraAdBeaconErrorType;

constexpr const char* kValidCreative =
    R"({"campaignId":12,"creativeId":345,"title":"Coffee","message":"Half price",)"
    R"("data":"{\"deeplink\":\"app://x\"}","frequencyCapping":{"intervalHours":24,"maxFrequency":3},)"
    R"("unrelated":[1,2]})";

class CreativeWebServiceTest : public testing::NetTest {
 protected:
  using Result = std::tuple<std::optional<Creative>, std::optional<LumoraAdBeaconError>>;

  CreativeWebService serviceFor(const std::string& cdn,
                                std::shared_ptr<platform::HttpSession> on) const {
    return CreativeWebService(
        APIConfiguration(Environment::stage, "https://t.example", "https://n.example", cdn, "b"),
        std::make_shared<HttpRequestSender>(std::move(on)), urls);
  }

  Result fetch(std::int64_t bindingId) const { return fetch(service, bindingId); }

  Result fetch(const CreativeWebService& from, std::int64_t bindingId) const {
    CompletionProbe<std::optional<Creative>, std::optional<LumoraAdBeaconError>> probe;
    from.getCreative(bindingId, probe.callback());
    return probe.wait();
  }

  // The reply for binding 7 is body; returns the error after checking there is no creative.
  std::optional<LumoraAdBeaconError> failureFor(const std::string& body, int status = 200) {
    server.respond("/b/binding/7/ios.json", {status, body});
    auto [creative, error] = fetch(7);
    EXPECT_FALSE(creative) << body;
    return error;
  }

  CreativeWebService service = serviceFor(server.hostAndPort(), session);
};

TEST_F(CreativeWebServiceTest, BindingIdDigitsBecomeNestedFolders) {
  for (const auto& [id, folders] :
       {std::pair<std::int64_t, const char*>{1234, "1/2/3/4"},
        {0, "0"},
        {-12, "-/1/2"},
        {std::numeric_limits<std::int64_t>::min(), "-/9/2/2/3/3/7/2/0/3/6/8/5/4/7/7/5/8/0/8"}}) {
    EXPECT_EQ(CreativeWebService::formatBindingId(id), folders);
  }
}

TEST_F(CreativeWebServiceTest, ValidReplyBecomesACreativeOnTheWorkerThread) {
  server.respond("/b/binding/1/2/3/4/ios.json", {200, kValidCreative});
  CompletionProbe<std::optional<Creative>, std::optional<LumoraAdBeaconError>> probe;
  service.getCreative(1234, probe.callback());
  const auto [creative, error] = probe.wait();
  EXPECT_NE(probe.thread(), std::this_thread::get_id());
  ASSERT_TRUE(creative);
  EXPECT_FALSE(error);
  EXPECT_EQ(std::tie(creative->campaignId, creative->creativeId, creative->title, creative->message,
                     creative->data),
            std::make_tuple(12, 345, "Coffee", "Half price", R"({"deeplink":"app://x"})"));
  ASSERT_TRUE(creative->frequencyCapping);
  EXPECT_EQ(creative->frequencyCapping->intervalHours, 24);
  EXPECT_EQ(creative->frequencyCapping->maxFrequency, 3);
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method + " " + seen[0].target + " " + seen[0].body,
            "GET /b/binding/1/2/3/4/ios.json ");
  EXPECT_EQ(seen[0].headerValues("Content-Type"), std::vector<std::string>{"application/json"});
  EXPECT_TRUE(platform->log->records().empty());
}

// Integral numbers are integers; a bad data or frequency capping is dropped silently.
TEST_F(CreativeWebServiceTest, OptionalPartsMayBeMissingOrBadAndNumbersMayBeWrittenAsReals) {
  const std::string ids = R"("campaignId":12.0,"creativeId":3.45e2,"title":"t","message":"m")";
  const std::pair<std::string, bool> cases[] = {
      {R"("frequencyCapping":{"intervalHours":24.0,"maxFrequency":1})", true},
      {R"("data":{"nested":1})", false},
      {R"("frequencyCapping":[24,3])", false},
      {R"("frequencyCapping":{"intervalHours":1.5,"maxFrequency":3})", false},
  };
  for (const auto& [extra, capped] : cases) {
    server.respond("/b/binding/7/ios.json", {200, "{" + ids + "," + extra + "}"});
    const auto [creative, error] = fetch(7);
    ASSERT_TRUE(creative) << extra;
    EXPECT_FALSE(error);
    EXPECT_EQ(creative->campaignId, 12);
    EXPECT_EQ(creative->creativeId, 345);
    EXPECT_FALSE(creative->data) << extra;
    EXPECT_EQ(creative->frequencyCapping.has_value(), capped) << extra;
    if (capped) {
      EXPECT_EQ(creative->frequencyCapping->intervalHours, 24);
    }
  }
  EXPECT_TRUE(platform->log->records().empty());
}

// Each reply fails one check; the checks run in a fixed order, so a reply that
// fails several is reported by the first. A failed status is never validated.
TEST_F(CreativeWebServiceTest,
       ValidationRunsInOrderAndLogsTheFirstFailureAndHttpFailuresMapToErrors) {
  const std::string format = "Invalid creative data format";
  const std::string campaign = "missing campaign-ID from Creative API";
  const std::string creativeId = "missing creative-ID from Creative API";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"not json", format},
      {"[1,2]", format},
      {R"({"message":"m","campaignId":1,"creativeId":2})", format},
      {R"({"title":"t","message":null,"campaignId":1,"creativeId":2})", format},
      {R"({"title":"t","message":"m","creativeId":"x"})", campaign},
      {R"({"title":"t","message":"m","campaignId":"12","creativeId":2})", campaign},
      {R"({"title":"t","message":"m","campaignId":12.5,"creativeId":2})", campaign},
      {R"({"title":"t","message":"m","campaignId":1e300,"creativeId":2})", campaign},
      {R"({"title":"t","message":"m","campaignId":1})", creativeId},
      {R"({"title":"t","message":"m","campaignId":1,"creativeId":0.5})", creativeId},
      // Nesting past any sensible reply is refused before it is built.
      {R"({"title":"t","message":"m","campaignId":1,"creativeId":2,"x":)" + std::string(40, '[') +
           std::string(40, ']') + "}",
       format},
  };
  for (const auto& [body, logged] : cases) {
    platform->log->clear();
    const auto error = failureFor(body);
    ASSERT_TRUE(error) << body;
    EXPECT_EQ(error->code(), ErrorType::invalidCreative) << body;
    EXPECT_EQ(error->message(), "Invalid Creative data format");
    const auto records = platform->log->records();
    ASSERT_EQ(records.size(), 1u) << body;
    EXPECT_EQ(records[0].message, logged) << body;
    EXPECT_EQ(records[0].levelName, "ERROR");
    EXPECT_EQ(records[0].file, "CreativeWebService");
  }
  // HTTP failures map to public errors without a log line.
  platform->log->clear();
  const struct {
    int status;
    ErrorType code;
    std::string message;
  } statuses[] = {
      {403, ErrorType::forbiddenFetchCreative,
       "Cannot fetch creative data, insufficient permissions."},
      {404, ErrorType::notFoundCreative, "Creative data not found."},
      {300, ErrorType::unknown, "HTTP error: 300"},
  };
  for (const auto& c : statuses) {
    const auto error = failureFor(kValidCreative, c.status);
    ASSERT_TRUE(error) << c.status;
    EXPECT_EQ(error->code(), c.code) << c.status;
    EXPECT_EQ(error->message(), c.message);
  }
  EXPECT_TRUE(platform->log->records().empty());
}

// A failure before any reply carries the platform's text. A URL that cannot be
// formed fails like any request: later, on the session's worker thread, never
// inside getCreative (where the caller may hold state).
TEST_F(CreativeWebServiceTest, FailuresBeforeAReplyCarryThePlatformText) {
  server.respond("/b/binding/7/ios.json", {200, kValidCreative});
  const auto [untrusted, refused] =
      fetch(serviceFor(server.hostAndPort(), std::make_shared<platform::CurlHttpSession>()), 7);
  EXPECT_FALSE(untrusted);
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->code(), ErrorType::unknown);
  EXPECT_FALSE(refused->message().empty() || refused->message().starts_with("HTTP error"));

  CompletionProbe<std::optional<Creative>, std::optional<LumoraAdBeaconError>> formed, broken;
  service.getCreative(7, formed.callback());
  formed.wait();
  serviceFor("cdn host.example", session).getCreative(7, broken.callback());
  const auto [creative, error] = broken.wait();
  EXPECT_EQ(broken.thread(), formed.thread());
  EXPECT_FALSE(creative);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), ErrorType::unknown);
  EXPECT_EQ(error->message(), "Invalid URL");
  EXPECT_EQ(server.requests().size(), 1u);
}

}  // namespace
}  // namespace lumora
