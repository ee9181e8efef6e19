#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "core/net/HttpRequestBuilder.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

class HttpRequestBuilderTest : public testing::SimWorld {
 protected:
  HttpRequestBuilder builder(const std::string& baseURL) const {
    return HttpRequestBuilder(urls, baseURL);
  }
  // The URL built, with percent-escapes in upper case (libcurl may write them
  // in either case; both mean the same).
  std::string urlOf(HttpRequestBuilder& b) const {
    const auto request = b.build();
    if (!request) return "(none)";
    std::string url = request->url;
    for (auto at = url.find('%'); at != std::string::npos && at + 2 < url.size();
         at = url.find('%', at + 1)) {
      url[at + 1] = static_cast<char>(std::toupper(static_cast<unsigned char>(url[at + 1])));
      url[at + 2] = static_cast<char>(std::toupper(static_cast<unsigned char>(url[at + 2])));
    }
    return url;
  }

  std::shared_ptr<const platform::UrlToolkit> urls = platform->urls;
};

// Path joined with exactly one slash and percent-encoded; query parameters
// replace the base query, sorted and encoded; without them a base query stays.
TEST_F(HttpRequestBuilderTest, UrlIsBuiltFromBasePathAndQuery) {
  using Query = std::vector<std::pair<std::string, std::string>>;
  const struct {
    std::string base;
    std::string path;
    Query query;
    std::string url;
  } cases[] = {
      {"https://events.example/x", "device_events", {}, "https://events.example/x/device_events"},
      {"https://events.example/x/", "device_events", {}, "https://events.example/x/device_events"},
      {"https://events.example", "device_events", {}, "https://events.example/device_events"},
      {"https://h.example/a", "b c?d#e%f", {}, "https://h.example/a/b%20c%3Fd%23e%25f"},
      {"https://h.example/p?old=1&gone=2",
       "",
       {{"k", "v w&x=y"}, {"a", "1"}, {"a", "2"}},
       "https://h.example/p?a=2&k=v%20w%26x%3Dy"},
      {"https://h.example:8443/v1?x=1",
       "device_events",
       {{"q", "1"}},
       "https://h.example:8443/v1/device_events?q=1"},
      {"https://h.example/p?keep=1", "", {}, "https://h.example/p?keep=1"},
      // A base URL that does not parse builds nothing.
      {"", "device_events", {{"k", "v"}}, "(none)"},
      {"https://exa mple.com/", "", {}, "(none)"},
  };
  for (const auto& c : cases) {
    auto b = builder(c.base);
    if (!c.path.empty()) b.setPath(c.path);
    for (const auto& [name, value] : c.query) b.addQueryParameter(name, value);
    EXPECT_EQ(urlOf(b), c.url) << c.base << " + " << c.path;
  }
  EXPECT_FALSE(HttpRequestBuilder(nullptr, "https://h.example/").build().has_value());
}

// Caller headers come sorted by name (the last value of a name wins), then the
// JSON content type; the body is compact JSON, logged at debug, or left out when
// it cannot be serialized.
TEST_F(HttpRequestBuilderTest, HeadersAndCompactJsonBodyAreBuiltAndTheBodyLogged) {
  auto b = builder("https://h.example/");
  EXPECT_EQ(b.build()->method, "GET");
  EXPECT_FALSE(b.build()->body.has_value());
  EXPECT_TRUE(platform->log->records().empty());
  const auto request = b.addHeader("X-B", "2")
                           .addHeader("X-A", "old")
                           .addHeader("X-A", "1")
                           .setMethod(HttpMethod::post)
                           .setBodyParameters({{"b", 1}, {"a", {{"c", "d"}}}})
                           .build();
  ASSERT_TRUE(request && request->body);
  EXPECT_EQ(request->method, "POST");
  EXPECT_EQ(request->timeoutSeconds, 60.0);
  const platform::HttpHeaders expected{
      {"X-A", "1"}, {"X-B", "2"}, {"Content-Type", "application/json"}};
  EXPECT_EQ(request->headers, expected);
  const std::string body(request->body->begin(), request->body->end());
  EXPECT_EQ(nlohmann::json::parse(body), nlohmann::json({{"b", 1}, {"a", {{"c", "d"}}}}));
  EXPECT_EQ(body.find(' '), std::string::npos);
  EXPECT_EQ(logLines("HttpRequestBuilder"),
            std::vector<std::string>{"DEBUG build(): JSON Body: " + body});

  platform->log->clear();
  const auto unserializable =
      builder("https://h.example/").setBodyParameters({{"name", "\xff\xfe"}}).build();
  ASSERT_TRUE(unserializable);
  EXPECT_FALSE(unserializable->body.has_value());
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].levelName, "ERROR");
  EXPECT_TRUE(records[0].message.starts_with("Error serializing body parameters: "))
      << records[0].message;
  EXPECT_GT(records[0].message.size(), std::string("Error serializing body parameters: ").size());
}

}  // namespace
}  // namespace lumora
