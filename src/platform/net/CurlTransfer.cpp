#include "platform/net/CurlTransfer.hpp"

#include <strings.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace lumora::platform {
namespace {

constexpr double kLongestTimeoutMs = 24.0 * 3600.0 * 1000.0;

// At least one millisecond (0 would mean "no time-out" to curl), at most a day.
long timeoutMilliseconds(double seconds) {
  const double ms = seconds * 1000.0;
  if (!(ms >= 1.0)) return 1;
  return static_cast<long>(std::min(ms, kLongestTimeoutMs));
}

// curl drops a header given as "Name:" and sends one with an empty value only
// when it is written "Name;".
std::string headerLine(const std::string& name, const std::string& value) {
  return value.empty() ? name + ";" : name + ": " + value;
}

bool carriesBody(const std::string& method) {
  return method == "POST" || method == "PUT" || method == "PATCH";
}

bool isHttps(const std::string& url) {
  constexpr std::string_view kScheme = "https://";
  return url.size() >= kScheme.size() &&
         strncasecmp(url.c_str(), kScheme.data(), kScheme.size()) == 0;
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

}  // namespace

CurlTransfer::CurlTransfer(HttpRequest request, HttpSession::Completion completion,
                           std::size_t maxResponseBytes)
    : request_(std::move(request)),
      completion_(std::move(completion)),
      maxResponseBytes_(maxResponseBytes) {}

// The handle goes first: it points into the header list.
CurlTransfer::~CurlTransfer() {
  easy_.reset();
  curl_slist_free_all(headerList_);
}

CURLcode CurlTransfer::prepare(CurlEasyHandle easy, const CurlHttpSessionOptions& options,
                               const std::optional<std::string>& extraCertificates) {
  easy_ = std::move(easy);
  if (!isHttps(request_.url)) return CURLE_UNSUPPORTED_PROTOCOL;
  return easy_ ? configure(options, extraCertificates) : CURLE_OUT_OF_MEMORY;
}

CURLcode CurlTransfer::configure(const CurlHttpSessionOptions& options,
                                 const std::optional<std::string>& extraCertificates) {
  for (const auto& [name, value] : request_.headers) {
    headerList_ = curl_slist_append(headerList_, headerLine(name, value).c_str());
  }
  // Bodies go out at once; no "Expect: 100-continue" round trip.
  headerList_ = curl_slist_append(headerList_, "Expect:");

  CURLcode result = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    if (result == CURLE_OK) result = curl_easy_setopt(easy_.get(), option, value);
  };
  set(CURLOPT_URL, request_.url.c_str());
  if (request_.method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  } else {
    set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
  }
  if (request_.body || carriesBody(request_.method)) {
    // Without a body these methods still say "Content-Length: 0"; some servers
    // otherwise read until the connection closes. An empty body must not be a
    // null pointer, which would make curl read the body from standard input.
    static const char kNoBytes[] = "";
    const bool empty = !request_.body || request_.body->empty();
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(empty ? 0 : request_.body->size()));
    set(CURLOPT_POSTFIELDS,
        empty ? kNoBytes : reinterpret_cast<const char*>(request_.body->data()));
  }
  set(CURLOPT_HTTPHEADER, headerList_);
  set(CURLOPT_PROTOCOLS_STR, "https");
  set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
  set(CURLOPT_FOLLOWLOCATION, 1L);
  set(CURLOPT_MAXREDIRS, 10L);
  // 301, 302 and 303 would otherwise turn a POST into a bodiless GET whose
  // success hides that the body never arrived.
  set(CURLOPT_POSTREDIR, static_cast<long>(CURL_REDIR_POST_ALL));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_TIMEOUT_MS, timeoutMilliseconds(request_.timeoutSeconds));
  set(CURLOPT_NOSIGNAL, 1L);
  // A connection idle longer than this is not reused: servers close idle
  // connections after a few seconds (5 s is common), and a request written
  // into one just closed fails with a send error instead of being answered.
  set(CURLOPT_MAXAGE_CONN, 4L);
  set(CURLOPT_ACCEPT_ENCODING, "");
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maxResponseBytes_));
  set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_ERRORBUFFER, errorBuffer_);
  // The extra certificates replace curl's default bundle file, while the
  // system's hashed directory stays in the store: both are trusted.
  const char* builtIn = curl_version_info(CURLVERSION_NOW)->capath;
  if (!options.systemCaDirectory.empty()) {
    set(CURLOPT_CAPATH, options.systemCaDirectory.c_str());
  } else if (extraCertificates && builtIn) {
    set(CURLOPT_CAPATH, builtIn);
  }
  if (extraCertificates) {
    curl_blob blob{const_cast<char*>(extraCertificates->data()), extraCertificates->size(),
                   CURL_BLOB_COPY};
    set(CURLOPT_CAINFO_BLOB, &blob);
  }
  return result;
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const std::size_t length = size * count;
  if (length > transfer.maxResponseBytes_ - transfer.body_.size()) {
    transfer.overLimit_ = true;
    return 0;  // curl stops the transfer with a write error
  }
  transfer.body_.insert(transfer.body_.end(), data, data + length);
  return length;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const std::size_t length = size * count;
  const std::string_view line(data, length);
  if (line.starts_with("HTTP/")) {
    transfer.responseHeaders_.clear();  // a new response (after a redirect or an interim one)
  } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
    transfer.responseHeaders_.emplace_back(std::string(trimmed(line.substr(0, colon))),
                                           std::string(trimmed(line.substr(colon + 1))));
  }
  return length;
}

void CurlTransfer::complete(CURLcode code) {
  HttpResult result;
  if (code != CURLE_OK) {
    result.error = errorFor(code);
    finish(std::move(result));
    return;
  }
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
  result.body = std::move(body_);
  if (status > 0) result.response = HttpResponse{status, std::move(responseHeaders_)};
  finish(std::move(result));
}

void CurlTransfer::cancel() {
  abandon("The HTTP session was shut down before the request finished");
}

void CurlTransfer::refuseOverflow(std::size_t waiting) {
  abandon("Request not sent: " + std::to_string(waiting) +
          " requests are already waiting for a connection");
}

void CurlTransfer::abandon(std::string reason) {
  HttpResult result;
  result.error = PlatformError{kErrorDomain, CURLE_ABORTED_BY_CALLBACK, std::move(reason)};
  finish(std::move(result));
}

PlatformError CurlTransfer::errorFor(CURLcode code) const {
  if (overLimit_ || code == CURLE_FILESIZE_EXCEEDED) {
    return {
        kErrorDomain, CURLE_FILESIZE_EXCEEDED,
        "The response body exceeds the limit of " + std::to_string(maxResponseBytes_) + " bytes"};
  }
  if (code == CURLE_UNSUPPORTED_PROTOCOL) {
    // The first URL was checked before any connection: curl can only have
    // refused where a redirect pointed.
    return {kErrorDomain, code, isHttps(request_.url) ? kRedirectRefused : kNotHttps};
  }
  const std::string description = errorBuffer_[0] ? errorBuffer_ : curl_easy_strerror(code);
  return {kErrorDomain, code, description};
}

void CurlTransfer::finish(HttpResult result) {
  auto completion = std::exchange(completion_, nullptr);
  if (completion) completion(std::move(result));
}

}  // namespace lumora::platform
