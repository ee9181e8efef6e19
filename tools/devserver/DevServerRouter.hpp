#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "devserver/CreativeTree.hpp"
#include "devserver/EventLog.hpp"

namespace lumora::tools {

/// The answer to one request, and what the request log says about it.
struct DevServerReply {
  int status = 404;
  std::string contentType = "text/plain";
  std::string body;
  /// Appended to the request's log line (the event summary); may be empty.
  std::string note;
};

/// What the development server does with a request, apart from the sockets:
///   GET or HEAD <creative path>  -> the creative tree's answer
///   POST .../device_events       -> 200 {} for a valid event, 400
///                                   {"problems": [...]} otherwise; recorded
///   a body over the size limit   -> 413, not recorded
///   other POST paths             -> 404; other methods -> 405
/// Any bytes in any part give an answer; nothing throws.
class DevServerRouter {
 public:
  DevServerRouter(const CreativeTree& tree, EventLog& events, std::size_t maxBodyBytes);

  /// body: as received; a caller that stops reading a long body passes at
  /// least maxBodyBytes() + 1 bytes of it.
  DevServerReply handle(std::string_view method, std::string_view path,
                        std::string_view body) const;

  /// For a body the transport could not deliver whole: 413 when it was too
  /// long, 400 when it was malformed.
  DevServerReply refuseBody(bool tooLong) const;

  std::size_t maxBodyBytes() const noexcept { return maxBodyBytes_; }

 private:
  DevServerReply receiveEvent(std::string_view path, std::string_view body) const;

  const CreativeTree& tree_;
  EventLog& events_;
  std::size_t maxBodyBytes_;
};

}  // namespace lumora::tools
