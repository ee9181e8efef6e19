#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/net/HttpRequestBuilder.hpp"
#include "core/net/HttpRequestSender.hpp"
#include "unit/net/NetTestSupport.hpp"

namespace lumora {
namespace {

using platform::HttpResult;
using platform::PlatformError;
using testing::CompletionProbe;

// Answers every task at once with one scripted result.
class ScriptedSession : public platform::HttpSession {
 public:
  explicit ScriptedSession(HttpResult result) : result_(std::move(result)) {}
  void dataTask(platform::HttpRequest, Completion completion) override { completion(result_); }
  void failTask(PlatformError error, Completion completion) override {
    completion({{}, {}, std::move(error)});
  }

 private:
  HttpResult result_;
};

struct Outcome {
  std::optional<std::string> value;
  std::optional<PlatformError> error;
  int handlerCalls = 0;
};

// Runs one request through a sender whose handler yields the body as text.
Outcome send(std::shared_ptr<platform::HttpSession> session, platform::HttpRequest request) {
  auto handlerCalls = std::make_shared<int>(0);
  CompletionProbe<std::optional<std::string>, std::optional<PlatformError>> probe;
  HttpRequestSender(std::move(session))
      .execute<std::string>(
          std::move(request),
          [handlerCalls](const HttpRequestSender::Body& body, const platform::HttpResponse&) {
            ++*handlerCalls;
            return body ? std::optional<std::string>(std::string(body->begin(), body->end()))
                        : std::nullopt;
          },
          probe.callback());
  auto [value, error] = probe.wait();
  return {std::move(value), std::move(error), *handlerCalls};
}

Outcome sendScripted(HttpResult result) {
  return send(std::make_shared<ScriptedSession>(std::move(result)), {});
}

HttpResult responseWithStatus(std::int64_t status) {
  HttpResult result;
  result.body = std::vector<std::uint8_t>{'x'};
  result.response = platform::HttpResponse{status, {}};
  return result;
}

TEST(HttpRequestSenderClassificationTest, StatusesOutside200To299AreHttpErrors) {
  for (const std::int64_t status : {100, 199, 300, 302, 400, 503, 999}) {
    const auto outcome = sendScripted(responseWithStatus(status));
    ASSERT_TRUE(outcome.error) << status;
    EXPECT_EQ(outcome.error->domain, "LumoraBeaconSDK");
    EXPECT_EQ(outcome.error->code, status);
    EXPECT_EQ(outcome.error->localizedDescription, "HTTP error: " + std::to_string(status));
    EXPECT_FALSE(outcome.value);
    EXPECT_EQ(outcome.handlerCalls, 0);
  }
  for (const std::int64_t status : {200, 250, 299}) {
    const auto outcome = sendScripted(responseWithStatus(status));
    EXPECT_FALSE(outcome.error) << status;
    EXPECT_EQ(outcome.value, "x");
    EXPECT_EQ(outcome.handlerCalls, 1);
  }
}

TEST(HttpRequestSenderClassificationTest, TransportErrorWinsAndNoResponseIsInvalid) {
  HttpResult failed = responseWithStatus(200);
  failed.error = PlatformError{"CurlError", 7, "Could not connect"};
  HttpResult unanswered;
  unanswered.body = std::vector<std::uint8_t>{'x'};
  for (const auto& [result, expected] :
       {std::pair{failed, PlatformError{"CurlError", 7, "Could not connect"}},
        std::pair{unanswered, PlatformError{"LumoraBeaconSDK", 0, "Invalid HTTP response"}}}) {
    const auto outcome = sendScripted(result);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain, expected.domain);
    EXPECT_EQ(outcome.error->code, expected.code);
    EXPECT_EQ(outcome.error->localizedDescription, expected.localizedDescription);
    EXPECT_EQ(outcome.handlerCalls, 0);
  }
}

class HttpRequestSenderTest : public testing::NetTest {
 protected:
  platform::HttpRequest get(const std::string& path) const {
    return *HttpRequestBuilder(urls, server.url(path)).build();
  }
};

TEST_F(HttpRequestSenderTest, NoContentReachesTheHandlerWithAnEmptyBody) {
  server.respond("/empty", {204});
  const auto outcome = send(session, get("/empty"));
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.handlerCalls, 1);
  EXPECT_TRUE(!outcome.value || outcome.value->empty());
}

TEST_F(HttpRequestSenderTest, BuiltGetCarriesJsonContentTypeAndNoQuestionMarkOnTheWire) {
  server.respond("/x/device_events", {200});
  send(session, *HttpRequestBuilder(urls, server.url("/x/")).setPath("device_events").build());
  send(session, *HttpRequestBuilder(urls, server.url("/x?old=1"))
                     .setPath("device_events")
                     .addQueryParameter("k", "a b")
                     .build());
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].target, "/x/device_events");
  EXPECT_FALSE(seen[0].query);
  EXPECT_EQ(seen[0].headerValues("Content-Type"), std::vector<std::string>{"application/json"});
  EXPECT_EQ(seen[0].body, "");
  EXPECT_EQ(seen[1].path, "/x/device_events");
  EXPECT_EQ(seen[1].query, "k=a%20b");
}

}  // namespace
}  // namespace lumora
