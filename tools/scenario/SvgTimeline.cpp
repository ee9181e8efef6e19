#include "scenario/SvgTimeline.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <utility>

#include "scenario/StatusNames.hpp"

namespace lumora::tools {
namespace {

constexpr double kWidth = SvgTimeline::kPlotLeft + SvgTimeline::kPlotWidth + 30;
constexpr double kTop = 56;
constexpr double kLaneHeight = 30;
constexpr std::int64_t kWarningLevel = 2;

struct Interval {
  double from = 0;
  double to = 0;
};

struct Mark {
  double t = 0;
  std::string label;  // shown beside the dot; may be empty
};

struct Sighting {
  double t = 0;
  bool processed = false;
};

/// Everything the picture shows, gathered from the records.
struct Lanes {
  std::vector<Interval> region;
  std::vector<Interval> scan;
  std::vector<std::pair<std::string, std::vector<Sighting>>> beacons;  // first seen first
  std::vector<Mark> creatives;
  std::vector<Mark> notifications;
  std::vector<Mark> taps;
  std::vector<Mark> events;
  std::vector<Mark> errors;
  double end = 1;
};

/// Opens an interval at t, or closes the open one.
void toggle(std::vector<Interval>& intervals, std::optional<double>& open, bool opening, double t) {
  if (opening && !open) open = t;
  if (!opening && open) {
    intervals.push_back({*open, t});
    open.reset();
  }
}

void addSighting(Lanes& lanes, const std::string& identity, Sighting sighting) {
  auto found = std::find_if(lanes.beacons.begin(), lanes.beacons.end(),
                            [&](const auto& lane) { return lane.first == identity; });
  if (found == lanes.beacons.end()) {
    lanes.beacons.push_back({identity, {}});
    found = std::prev(lanes.beacons.end());
  }
  found->second.push_back(sighting);
}

/// "companyId=4660, spaceId=0a1b, bindingId=1234" -> "binding 1234 · space 0a1b".
std::string identityLabel(std::string_view identity) {
  const auto field = [identity](std::string_view key) {
    const auto at = identity.find(key);
    if (at == std::string_view::npos) return std::string();
    const auto value = identity.substr(at + key.size());
    return std::string(value.substr(0, value.find(',')));
  };
  return "binding " + field("bindingId=") + " \u00b7 space " + field("spaceId=");
}

std::string escaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

/// Writes the picture's elements; numbers with one decimal.
class Canvas {
 public:
  explicit Canvas(double end) : end_(end) { out_ << std::fixed << std::setprecision(1); }

  double x(double t) const { return SvgTimeline::kPlotLeft + t * SvgTimeline::kPlotWidth / end_; }
  double laneY(std::size_t lane) const { return kTop + static_cast<double>(lane) * kLaneHeight; }

  void lane(std::size_t index, std::string_view label, std::string_view kind) {
    const double y = laneY(index);
    out_ << "<g class=\"lane\" data-lane=\"" << escaped(label) << "\">\n";
    out_ << "<rect x=\"0\" y=\"" << y << "\" width=\"" << kWidth << "\" height=\"" << kLaneHeight
         << "\" fill=\"" << (index % 2 == 0 ? "#f4f6f8" : "#ffffff") << "\"/>\n";
    out_ << "<text x=\"10\" y=\"" << y + 19 << "\" class=\"label " << kind << "\">"
         << escaped(label) << "</text>\n";
  }
  void endLane() { out_ << "</g>\n"; }

  void bar(std::size_t lane, const Interval& interval, std::string_view kind,
           std::string_view colour) {
    out_ << "<rect class=\"" << kind << "\" x=\"" << x(interval.from) << "\" y=\""
         << laneY(lane) + 7 << "\" width=\"" << std::max(1.0, x(interval.to) - x(interval.from))
         << "\" height=\"" << kLaneHeight - 14 << "\" rx=\"3\" fill=\"" << colour << "\"/>\n";
  }

  void tick(std::size_t lane, const Sighting& sighting) {
    const double inset = sighting.processed ? 4 : 10;
    out_ << "<line class=\"sighting" << (sighting.processed ? " processed" : "") << "\" x1=\""
         << x(sighting.t) << "\" x2=\"" << x(sighting.t) << "\" y1=\"" << laneY(lane) + inset
         << "\" y2=\"" << laneY(lane) + kLaneHeight - inset << "\" stroke=\""
         << (sighting.processed ? "#1a237e" : "#7986cb") << "\" stroke-width=\""
         << (sighting.processed ? 2.5 : 1.0) << "\"/>\n";
  }

  void dot(std::size_t lane, const Mark& mark, std::string_view kind, std::string_view colour) {
    const double y = laneY(lane) + kLaneHeight / 2;
    out_ << "<circle class=\"" << kind << "\" cx=\"" << x(mark.t) << "\" cy=\"" << y
         << "\" r=\"5.5\" fill=\"" << colour << "\"/>\n";
    if (!mark.label.empty()) {
      out_ << "<text x=\"" << x(mark.t) + 8 << "\" y=\"" << y + 4 << "\" font-size=\"11\">"
           << escaped(mark.label) << "</text>\n";
    }
  }

  void axis(std::size_t lanes) {
    const double y = laneY(lanes) + 4;
    out_ << "<g class=\"axis\">\n<line x1=\"" << x(0) << "\" x2=\"" << x(end_) << "\" y1=\"" << y
         << "\" y2=\"" << y << "\" stroke=\"#333\"/>\n";
    const double step = tickStep();
    for (double t = 0; t <= end_ + 1e-9; t += step) {
      out_ << "<line x1=\"" << x(t) << "\" x2=\"" << x(t) << "\" y1=\"" << kTop << "\" y2=\""
           << y + 5 << "\" stroke=\"#333\" stroke-opacity=\"0.15\"/>\n";
      out_ << "<text class=\"tick\" x=\"" << x(t) << "\" y=\"" << y + 18
           << "\" text-anchor=\"middle\" font-size=\"11\">" << std::setprecision(0) << t << "s"
           << std::setprecision(1) << "</text>\n";
    }
    out_ << "<text x=\"" << x(end_ / 2) << "\" y=\"" << y + 36
         << "\" text-anchor=\"middle\">virtual time (seconds since the start of the run)</text>\n"
         << "</g>\n";
  }

  void legend(double y) {
    out_ << "<g class=\"legend\" font-size=\"11\">\n";
    double left = 10;
    const auto item = [&](std::string_view swatch, std::string_view text) {
      out_ << swatch << "<text x=\"" << left + 18 << "\" y=\"" << y + 4 << "\">" << text
           << "</text>\n";
      left += 18 + 6.2 * static_cast<double>(text.size()) + 18;
    };
    std::ostringstream swatch;
    swatch << std::fixed << std::setprecision(1);
    const auto bar = [&](std::string_view colour) {
      swatch.str("");
      swatch << "<rect x=\"" << left << "\" y=\"" << y - 5
             << "\" width=\"14\" height=\"10\" rx=\"2\" fill=\"" << colour << "\"/>";
      return swatch.str();
    };
    const auto line = [&](double inset, std::string_view colour, double width) {
      swatch.str("");
      swatch << "<line x1=\"" << left + 7 << "\" x2=\"" << left + 7 << "\" y1=\"" << y - 8 + inset
             << "\" y2=\"" << y + 8 - inset << "\" stroke=\"" << colour << "\" stroke-width=\""
             << width << "\"/>";
      return swatch.str();
    };
    const auto circle = [&](std::string_view colour) {
      swatch.str("");
      swatch << "<circle cx=\"" << left + 7 << "\" cy=\"" << y << "\" r=\"5.5\" fill=\"" << colour
             << "\"/>";
      return swatch.str();
    };
    item(bar("#9ccc65"), "inside the iBeacon region");
    item(bar("#42a5f5"), "custom scan running");
    item(line(0, "#1a237e", 2.5), "sighting processed");
    item(line(5, "#7986cb", 1), "duplicate skipped");
    item(circle("#2e7d32"), "creative (id)");
    item(circle("#f9a825"), "notification");
    item(circle("#6a1b9a"), "tap");
    item(circle("#00838f"), "event received");
    item(circle("#c62828"), "error (code) or warning");
    out_ << "</g>\n";
  }

  std::string text() const { return out_.str(); }
  std::ostringstream& out() { return out_; }

 private:
  double tickStep() const {
    constexpr std::array<double, 12> kSteps = {1, 2, 5, 10, 15, 20, 30, 60, 120, 300, 600, 1800};
    for (double step : kSteps) {
      if (end_ / step <= 16) return step;
    }
    return std::ceil(end_ / 16 / 3600) * 3600;
  }

  double end_;
  std::ostringstream out_;
};

void drawMarks(Canvas& canvas, std::size_t& lane, std::string_view label,
               const std::vector<Mark>& marks, std::string_view kind, std::string_view colour) {
  canvas.lane(lane, label, kind);
  for (const Mark& mark : marks) canvas.dot(lane, mark, kind, colour);
  canvas.endLane();
  ++lane;
}

std::string render(const Lanes& lanes, const std::string& title) {
  Canvas canvas(lanes.end);
  std::size_t lane = 0;
  canvas.lane(lane, "iBeacon region", "region");
  for (const Interval& interval : lanes.region) canvas.bar(lane, interval, "region", "#9ccc65");
  canvas.endLane();
  canvas.lane(++lane, "custom scan (gate)", "scan");
  for (const Interval& interval : lanes.scan) canvas.bar(lane, interval, "scan", "#42a5f5");
  canvas.endLane();
  ++lane;
  for (const auto& [identity, sightings] : lanes.beacons) {
    canvas.lane(lane, identity, "beacon");
    for (const Sighting& sighting : sightings) canvas.tick(lane, sighting);
    canvas.endLane();
    ++lane;
  }
  drawMarks(canvas, lane, "creatives", lanes.creatives, "creative", "#2e7d32");
  drawMarks(canvas, lane, "notifications", lanes.notifications, "notification", "#f9a825");
  drawMarks(canvas, lane, "taps", lanes.taps, "tap", "#6a1b9a");
  drawMarks(canvas, lane, "events received", lanes.events, "event", "#00838f");
  drawMarks(canvas, lane, "errors", lanes.errors, "error", "#c62828");
  canvas.axis(lane);
  const double height = canvas.laneY(lane) + 90;
  canvas.legend(height - 22);

  std::ostringstream svg;
  svg << std::fixed << std::setprecision(0) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << height
      << "\" viewBox=\"0 0 " << kWidth << ' ' << height
      << "\" font-family=\"DejaVu Sans, Verdana, sans-serif\" font-size=\"12\" fill=\"#222\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n"
      << "<text x=\"10\" y=\"30\" font-size=\"16\" font-weight=\"bold\">" << escaped(title)
      << "</text>\n"
      << canvas.text() << "</svg>\n";
  return svg.str();
}

}  // namespace

struct SvgTimeline::Gatherer {
  Lanes lanes;
  std::optional<double> inside;
  std::optional<double> scanning;

  void operator()(const CallbackRecord& record) {
    if (record.name == "onCreativeReceived" && record.creative) {
      lanes.creatives.push_back({record.t, std::to_string(record.creative->creativeId())});
    } else if (record.name == "onNotificationClicked") {
      lanes.taps.push_back({record.t, ""});
    } else if (record.error) {
      const std::int64_t code = rawValue(record.error->code());
      lanes.errors.push_back(
          {record.t, std::to_string(code) + " " + std::string(StatusNames::errorName(code))});
    }
  }
  void operator()(const NotificationRecord& record) {
    lanes.notifications.push_back({record.t, ""});
  }
  void operator()(const LogLineRecord& record) {
    const std::string& message = record.line.message;
    constexpr std::string_view kData = "beacon data: ";
    if (message.starts_with("Entered iBeacon region") ||
        message.starts_with("Exited iBeacon region")) {
      toggle(lanes.region, inside, message.starts_with("Entered"), record.t);
    } else if (const auto at = message.find(kData); at != std::string::npos) {
      addSighting(lanes, identityLabel(std::string_view(message).substr(at + kData.size())),
                  {record.t, message.starts_with("Processing")});
    } else if (record.line.level >= kWarningLevel) {
      lanes.errors.push_back({record.t, ""});
    }
  }
  void operator()(const ScanRecord& record) {
    toggle(lanes.scan, scanning, record.start, record.t);
  }
  void operator()(const StateRecord&) {}
  void operator()(const DefaultsRecord&) {}

  void add(const SimRecord& record) {
    std::visit(*this, record);
    lanes.end = std::max(lanes.end, std::visit([](const auto& held) { return held.t; }, record));
  }

  /// The lanes, with a region or scan still open at the end running to the end.
  const Lanes& closed() {
    toggle(lanes.region, inside, false, lanes.end);
    toggle(lanes.scan, scanning, false, lanes.end);
    return lanes;
  }
};

SvgTimeline::SvgTimeline(std::ostream& out, std::string title)
    : out_(out), title_(std::move(title)), gatherer_(std::make_unique<Gatherer>()) {}

SvgTimeline::~SvgTimeline() = default;

void SvgTimeline::write(const SimRecord& record) {
  const std::lock_guard lock(mutex_);
  gatherer_->add(record);
}

void SvgTimeline::note(const RunNote& note) {
  const std::lock_guard lock(mutex_);
  if (const auto* server = std::get_if<ServerNote>(&note)) {
    gatherer_->lanes.events.push_back({server->t, ""});
  }
}

void SvgTimeline::finish(const std::optional<ServerTally>&) {
  const std::lock_guard lock(mutex_);
  out_ << render(gatherer_->closed(), title_) << std::flush;
}

}  // namespace lumora::tools
