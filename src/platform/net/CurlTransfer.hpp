#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/HttpSession.hpp"
#include "platform/net/CurlHandlePool.hpp"
#include "platform/net/CurlHttpSessionOptions.hpp"

namespace lumora::platform {

/// One data task: the request, the completion to run once when it ends and,
/// from the moment it starts, the libcurl easy handle that carries it and the
/// response being collected. A task waiting for a connection holds no handle.
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

  CurlTransfer(HttpRequest request, HttpSession::Completion completion,
               std::size_t maxResponseBytes);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Sets the request's options on `easy` (a fresh or reset handle, which the
  /// transfer then holds); CURLE_OK when it is ready to be added to a multi
  /// handle. extraCertificates: PEM text of CA certificates trusted next to
  /// the system's store (options.systemCaDirectory).
  CURLcode prepare(CurlEasyHandle easy, const CurlHttpSessionOptions& options,
                   const std::optional<std::string>& extraCertificates);
  CURL* handle() const noexcept { return easy_.get(); }
  /// Hands the handle back once curl is done with it (after complete()).
  CurlEasyHandle releaseHandle() noexcept { return std::move(easy_); }

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
  CurlEasyHandle easy_;
  curl_slist* headerList_ = nullptr;
  std::size_t maxResponseBytes_;
  bool overLimit_ = false;
  std::vector<std::uint8_t> body_;
  HttpHeaders responseHeaders_;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
};

}  // namespace lumora::platform
