#include "scenario/RecordFanout.hpp"

#include <utility>

namespace lumora::tools {

RecordFanout::RecordFanout(std::vector<RecordSink*> sinks) : sinks_(std::move(sinks)) {}

void RecordFanout::write(const SimRecord& record) {
  for (RecordSink* sink : sinks_) sink->write(record);
}

void RecordFanout::note(const RunNote& note) {
  for (RecordSink* sink : sinks_) sink->note(note);
}

void RecordFanout::finish(const std::optional<ServerTally>& server) {
  for (RecordSink* sink : sinks_) sink->finish(server);
}

}  // namespace lumora::tools
