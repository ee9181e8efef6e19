#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>

namespace lumora::tools {

/// Prints one line per request served, whoever answered it (a handler, or
/// the HTTP layer itself for a malformed request):
///   GET /demo/binding/1/2/3/ios.json -> 200 (57 bytes)
///   POST /tracking/device_events -> 200 (2 bytes)  click bindingId=1234 ...
/// A handler leaves its note for the request first; the line is printed when
/// the response has gone out. Safe from any thread; lines never interleave.
class RequestLog {
 public:
  /// console: nullptr prints nothing.
  explicit RequestLog(std::ostream* console);

  /// request identifies the request until served() (its address).
  void note(const void* request, std::string text);
  void served(const void* request, std::string_view method, std::string_view path, int status,
              std::size_t bytes);

  /// Method and path are escaped (see EscapedText); an empty one shows as "-".
  static std::string line(std::string_view method, std::string_view path, int status,
                          std::size_t bytes, std::string_view note);

 private:
  std::ostream* console_;
  std::mutex mutex_;
  std::map<const void*, std::string> notes_;
};

}  // namespace lumora::tools
