#pragma once

#include <vector>

#include "scenario/RecordSink.hpp"

namespace lumora::tools {

/// Hands every record, note and the finish to several sinks in turn, e.g. the
/// timeline on stdout and the SVG picture of the same run.
class RecordFanout : public RecordSink {
 public:
  /// The sinks must outlive the fanout.
  explicit RecordFanout(std::vector<RecordSink*> sinks);

  void write(const SimRecord& record) override;
  void note(const RunNote& note) override;
  void finish(const std::optional<ServerTally>& server) override;

 private:
  std::vector<RecordSink*> sinks_;
};

}  // namespace lumora::tools
