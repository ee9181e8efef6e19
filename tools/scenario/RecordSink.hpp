#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "scenario/SimRecord.hpp"

namespace lumora::tools {

/// A scenario step being played (repeating steps once, at their first time).
struct ActionNote {
  double t = 0;
  std::string description;  // e.g. "tapNotification index=0"
};

/// One line the embedded event server printed about a request it served.
struct ServerNote {
  double t = 0;
  std::string text;
};

/// What a person following the run sees besides the records: these are not
/// part of the JSON-lines output.
using RunNote = std::variant<ActionNote, ServerNote>;

/// What the embedded server received over the whole run, for the summary.
struct ServerTally {
  std::map<std::string, std::size_t> acceptedByType;  // "request", "notification", "click"
  std::size_t rejected = 0;
};

/// Where a scenario run's records go: JsonLinesRecordWriter for --jsonl,
/// TimelinePrinter otherwise, SvgTimeline for --svg. A runner holds one sink
/// and writes every record to it as it happens, e.g.
///   sink.write(CallbackRecord{now, "onError", std::nullopt, error});
///   sink.write(ScanRecord{now, true, {serviceUuid}, false});
///   sink.note(ActionNote{now, "start"});
///   sink.write(DefaultsRecord{until, store});   // last record
///   sink.finish(tally);                          // nullopt: no embedded server
/// Implementations are safe to call from any thread; records appear in the
/// order the calls are made.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void write(const SimRecord& record) = 0;
  virtual void note(const RunNote&) {}
  virtual void finish(const std::optional<ServerTally>&) {}
};

}  // namespace lumora::tools
