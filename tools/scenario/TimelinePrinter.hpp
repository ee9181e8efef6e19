#pragma once

#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>

#include "scenario/RecordSink.hpp"
#include "scenario/RunSummary.hpp"

namespace lumora::tools {

/// Prints a run as aligned, human-readable lines:
///      6.000s  callback      onCreativeReceived creativeId=345 bindingId=1234 ...
///      6.000s  notification  identifier=... title="..." body="..." delay=1 ...
///      6.000s  server        POST /no-tracking/device_events  notification ... -> 200
///     20.000s  action        tapNotification index=0
/// By default it tells the story a person follows: callbacks, notifications,
/// the scenario's actions, the iBeacon gate (entering and leaving the region,
/// the custom scan starting and stopping), the first sighting of each beacon
/// that the SDK processes, what the embedded server received, warnings and
/// errors, and a closing summary. Detail::everything prints every log line too.
class TimelinePrinter : public RecordSink {
 public:
  enum class Detail { story, everything };

  /// The stream must outlive the printer.
  explicit TimelinePrinter(std::ostream& out, Detail detail = Detail::story);

  void write(const SimRecord& record) override;
  void note(const RunNote& note) override;
  void finish(const std::optional<ServerTally>& server) override;

  /// The line for one record, without the newline.
  static std::string line(const SimRecord& record);
  static std::string line(const RunNote& note);

 private:
  bool tellsTheStory(const LogLineRecord& record);
  /// A log line as the story shows it: its message under "gate", "beacon",
  /// "warning" or "error".
  static std::string storyLine(const LogLineRecord& record);
  void print(const std::string& text);

  std::mutex mutex_;
  std::ostream& out_;
  const Detail detail_;
  bool insideRegion_ = false;
  std::size_t hidden_ = 0;
  RunSummary summary_;
};

}  // namespace lumora::tools
