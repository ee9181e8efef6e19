#pragma once

#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "scenario/RecordSink.hpp"

namespace lumora::tools {

/// Draws a run as an SVG picture on its virtual time axis, one lane per
/// subject, top to bottom:
///   iBeacon region      bars while the phone is inside the region
///   custom scan (gate)  bars while the custom-beacon scan runs
///   one lane per beacon identity: a tall tick per sighting the SDK processed,
///                       a short one per duplicate it skipped
///   creatives, notifications, taps, events received (embedded server),
///   errors (onError with its code, warning and error log lines)
/// with an axis in seconds and a legend. The picture is written by finish().
/// A point at time t sits at x = kPlotLeft + t * kPlotWidth / end, where end
/// is the last record's time (the run's end).
class SvgTimeline : public RecordSink {
 public:
  static constexpr double kPlotLeft = 270;
  static constexpr double kPlotWidth = 940;

  /// The stream must outlive the picture; title is shown above the lanes.
  SvgTimeline(std::ostream& out, std::string title);
  ~SvgTimeline() override;

  void write(const SimRecord& record) override;
  void note(const RunNote& note) override;
  void finish(const std::optional<ServerTally>& server) override;

 private:
  struct Gatherer;

  std::mutex mutex_;
  std::ostream& out_;
  const std::string title_;
  std::unique_ptr<Gatherer> gatherer_;
};

}  // namespace lumora::tools
