#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace lumora::platform {

/// How a CurlHttpSession trusts servers and how much it accepts from them.
struct CurlHttpSessionOptions {
  /// A PEM file of CA certificates trusted in addition to the system's store
  /// (the simulator's "caFile", a development server's own CA, the host's
  /// choice on Linux). Read once, when the session is made.
  std::optional<std::string> extraCaFile;
  /// The system's hashed CA directory, consulted next to extraCaFile. Empty:
  /// the directory libcurl was built with (/etc/ssl/certs on Debian).
  std::string systemCaDirectory;
  /// A response body longer than this ends its task with an error.
  std::size_t maxResponseBytes = 1024 * 1024;
  /// Requests waiting for a free connection at most; one more ends at once
  /// with an error instead of queueing, so that a server slower than the
  /// beacons around the host costs bounded memory (a waiting request holds
  /// its request and completion, well under a kilobyte plus its body, and
  /// no curl handle). Room for a crowd of new beacons at once: each brings
  /// a creative fetch and an event.
  std::size_t maxWaitingRequests = 4096;
};

}  // namespace lumora::platform
