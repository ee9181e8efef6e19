#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/HttpSession.hpp"
#include "platform/net/CurlHttpSessionOptions.hpp"

namespace lumora::platform {

/// One data task as a libcurl easy handle: the request's options, the response
/// being collected, and the completion to run once when it ends.
///
/// Only https is spoken. A request for any other URL ends, without a
/// connection, with kNotHttps; a redirect is followed only to an https
/// URL (otherwise it ends with kRedirectRefused) and keeps the method and the
/// body, so that a redirected POST is delivered whole or not at all.
class CurlTransfer {
 public:
  static constexpr const char* kErrorDomain = "CurlError";
  static constexpr const char* kNotHttps =
      "Only https URLs are requested: cleartext HTTP is not permitted";
  static constexpr const char* kRedirectRefused = "Redirect refused: only https URLs are followed";

  /// extraCertificates: PEM text of CA certificates trusted next to the
  /// system's store (options.systemCaDirectory).
  CurlTransfer(HttpRequest request, HttpSession::Completion completion,
               const CurlHttpSessionOptions& options,
               const std::optional<std::string>& extraCertificates);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  CURL* handle() const noexcept { return easy_; }
  /// CURLE_OK when the handle is ready to be added to a multi handle.
  CURLcode setupResult() const noexcept { return setupResult_; }

  /// Runs the completion with the outcome curl reported for this transfer.
  void complete(CURLcode code);
  /// Runs the completion with a cancellation error (the session shut down).
  void cancel();
  /// Runs the completion with an error saying the request was never sent
  /// because `waiting` requests were already waiting for a connection.
  void refuseOverflow(std::size_t waiting);

 private:
  CURLcode configure(const CurlHttpSessionOptions& options,
                     const std::optional<std::string>& extraCertificates);
  PlatformError errorFor(CURLcode code) const;
  void finish(HttpResult result);
  /// Ends a request curl never finished, with a "CurlError" abort and `reason`.
  void abandon(std::string reason);

  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);

  HttpRequest request_;
  HttpSession::Completion completion_;
  CURL* easy_ = nullptr;
  curl_slist* headerList_ = nullptr;
  CURLcode setupResult_ = CURLE_OK;
  std::size_t maxResponseBytes_;
  bool overLimit_ = false;
  std::vector<std::uint8_t> body_;
  HttpHeaders responseHeaders_;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
};

}  // namespace lumora::platform
