#pragma once

#include <mutex>
#include <ostream>

#include "scenario/RecordSink.hpp"

namespace lumora::tools {

/// Writes each record as one compact JSON object (RecordJson) and a newline,
/// flushed at once, so that a run that ends early leaves whole lines.
class JsonLinesRecordWriter : public RecordSink {
 public:
  /// The stream must outlive the writer.
  explicit JsonLinesRecordWriter(std::ostream& out);

  void write(const SimRecord& record) override;

 private:
  std::mutex mutex_;
  std::ostream& out_;
};

}  // namespace lumora::tools
