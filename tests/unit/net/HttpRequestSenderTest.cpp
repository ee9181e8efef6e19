#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

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

HttpResult result(std::optional<std::int64_t> status, std::optional<PlatformError> error = {}) {
  HttpResult result;
  result.body = std::vector<std::uint8_t>{'x'};
  if (status) result.response = platform::HttpResponse{*status, {}};
  result.error = std::move(error);
  return result;
}

// Statuses 200 to 299 reach the handler; anything else is an error it never sees.
TEST(HttpRequestSenderClassificationTest, OnlyAnsweredRequestsWithStatus2xxReachTheHandler) {
  const PlatformError refused{"CurlError", 7, "Could not connect"};
  const auto httpError = [](std::int64_t status) {
    return PlatformError{"LumoraBeaconSDK", status, "HTTP error: " + std::to_string(status)};
  };
  const std::pair<HttpResult, std::optional<PlatformError>> cases[] = {
      {result(200), std::nullopt},
      {result(299), std::nullopt},
      {result(199), httpError(199)},
      {result(300), httpError(300)},
      {result(200, refused), refused},  // the transport's error wins
      {result(std::nullopt), PlatformError{"LumoraBeaconSDK", 0, "Invalid HTTP response"}},
  };
  for (const auto& [scripted, error] : cases) {
    const auto outcome = send(std::make_shared<ScriptedSession>(scripted), {});
    SCOPED_TRACE(error ? error->localizedDescription : "success");
    EXPECT_EQ(outcome.handlerCalls, error ? 0 : 1);
    EXPECT_EQ(outcome.value, error ? std::nullopt : std::optional<std::string>("x"));
    ASSERT_EQ(outcome.error.has_value(), error.has_value());
    if (!error) continue;
    EXPECT_EQ(outcome.error->domain, error->domain);
    EXPECT_EQ(outcome.error->code, error->code);
    EXPECT_EQ(outcome.error->localizedDescription, error->localizedDescription);
  }
}

}  // namespace
}  // namespace lumora
