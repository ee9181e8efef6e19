#include "platform/net/CurlUrlToolkit.hpp"

#include <curl/curl.h>

#include <cstdio>
#include <memory>
#include <string_view>

namespace lumora::platform {
namespace {

struct UrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, UrlDeleter>;

constexpr unsigned kParseFlags = CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS;

std::optional<Url> parse(const std::string& text) {
  Url url(curl_url());
  if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), kParseFlags) != CURLUE_OK) {
    return std::nullopt;
  }
  return url;
}

std::optional<std::string> part(const Url& url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, 0) != CURLUE_OK) return std::nullopt;
  std::string result(text);
  curl_free(text);
  return result;
}

std::optional<std::string> whole(const Url& url) { return part(url, CURLUPART_URL); }

bool isUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

// Characters a path may hold besides the unreserved ones ("/" included, so a
// component "a/b" adds two segments, as on other platforms).
bool isPathCharacter(unsigned char c) {
  return isUnreserved(c) ||
         std::string_view("!$&'()*+,;=:@/").find(static_cast<char>(c)) != std::string_view::npos;
}

template <class Allowed>
std::string percentEncoded(std::string_view text, Allowed allowed) {
  std::string encoded;
  for (const unsigned char c : text) {
    if (allowed(c)) {
      encoded += static_cast<char>(c);
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", c);
      encoded += escape;
    }
  }
  return encoded;
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::string_view withoutLeadingSlashes(std::string_view component) {
  while (component.starts_with('/')) component.remove_prefix(1);
  return component;
}

}  // namespace

std::optional<std::string> CurlUrlToolkit::normalized(const std::string& url) const {
  const auto parsed = parse(url);
  return parsed ? whole(*parsed) : std::nullopt;
}

std::optional<std::string> CurlUrlToolkit::appendingPathComponent(
    const std::string& url, const std::string& component) const {
  const auto parsed = parse(url);
  if (!parsed) return std::nullopt;
  const auto path = part(*parsed, CURLUPART_PATH);
  if (!path) return std::nullopt;
  const std::string joined = std::string(withoutTrailingSlashes(*path)) + "/" +
                             percentEncoded(withoutLeadingSlashes(component), isPathCharacter);
  if (curl_url_set(parsed->get(), CURLUPART_PATH, joined.c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  return whole(*parsed);
}

std::optional<std::string> CurlUrlToolkit::replacingQuery(const std::string& url,
                                                          const QueryItems& items) const {
  const auto parsed = parse(url);
  if (!parsed) return std::nullopt;
  std::string query;
  for (const auto& [name, value] : items) {
    if (!query.empty()) query += '&';
    query += percentEncoded(name, isUnreserved) + "=" + percentEncoded(value, isUnreserved);
  }
  const char* newQuery = items.empty() ? nullptr : query.c_str();
  if (curl_url_set(parsed->get(), CURLUPART_QUERY, newQuery, 0) != CURLUE_OK) {
    return std::nullopt;
  }
  return whole(*parsed);
}

}  // namespace lumora::platform
