#pragma once

#include "sim/SimRecord.hpp"

namespace lumora::tools {

/// Where a scenario run's records go: JsonLinesRecordWriter for --jsonl,
/// TimelinePrinter otherwise. A runner holds one sink and writes every record
/// to it as it happens, e.g.
///   sink.write(CallbackRecord{now, "onError", std::nullopt, error});
///   sink.write(ScanRecord{now, true, {serviceUuid}, false});
///   sink.write(DefaultsRecord{until, store});   // last
/// Implementations are safe to call from any thread; records appear in the
/// order the calls are made.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void write(const SimRecord& record) = 0;
};

}  // namespace lumora::tools
