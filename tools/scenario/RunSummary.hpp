#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "scenario/RecordSink.hpp"

namespace lumora::tools {

/// Tallies a run's records into the closing summary a person reads:
///   creatives delivered  2 (2 notifications, 1 tapped)
///   suppressed           1: frequency cap 1
///   errors by code       11 frequencyCapExceeded: 1
///   events               6 accepted by the server (click 1, notification 2, request 3), ...
///   log                  0 warnings, 0 errors
/// Not thread-safe: its owner serialises the calls.
class RunSummary {
 public:
  void count(const SimRecord& record);
  /// The summary's lines, without newlines.
  std::vector<std::string> lines(const std::optional<ServerTally>& server) const;

 private:
  void countCallback(const CallbackRecord& record);
  void countLog(const LogLineRecord& record);

  std::size_t delivered_ = 0;
  std::size_t notifications_ = 0;
  std::size_t taps_ = 0;
  std::map<std::int64_t, std::size_t> errorsByCode_;
  std::size_t sendFailures_ = 0;
  std::size_t warnings_ = 0;
  std::size_t errorLines_ = 0;
};

}  // namespace lumora::tools
