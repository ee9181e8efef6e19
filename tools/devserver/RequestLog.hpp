#pragma once

#include <cstddef>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <string_view>

namespace lumora::tools {

/// Prints one line per request, whoever answered it (a handler, or the HTTP
/// layer itself for a malformed request):
///   GET /demo/binding/1/2/3/ios.json -> 200 (57 bytes)
///   POST /tracking/device_events -> 200 (2 bytes)  click bindingId=1234 ...
/// A handler's answer is printed before its response goes out, so a client
/// holding the response can count on the line being there; the HTTP layer's
/// own answers are printed once they have gone out. Safe from any thread;
/// lines never interleave.
class RequestLog {
 public:
  /// console: nullptr prints nothing.
  explicit RequestLog(std::ostream* console);

  /// A handler's answer to `request` (its address identifies it until served()).
  void answered(const void* request, std::string_view method, std::string_view path, int status,
                std::size_t bytes, std::string_view note);
  /// The response has gone out: printed here unless a handler answered it.
  void served(const void* request, std::string_view method, std::string_view path, int status,
              std::size_t bytes);

  /// Method and path are escaped (see EscapedText); an empty one shows as "-".
  static std::string line(std::string_view method, std::string_view path, int status,
                          std::size_t bytes, std::string_view note);

 private:
  void print(const std::string& text);

  std::ostream* console_;
  std::mutex mutex_;
  std::set<const void*> answered_;
};

}  // namespace lumora::tools
