#include "scenario/TimelinePrinter.hpp"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>
#include <type_traits>

#include "scenario/RecordJson.hpp"

namespace lumora::tools {
namespace {

constexpr int kTimeWidth = 8;
constexpr int kKindWidth = 12;  // "notification"
constexpr std::int64_t kWarningLevel = 2;
constexpr std::int64_t kErrorLevel = 3;

using Json = nlohmann::ordered_json;

/// " key=value" for each listed key present in object; strings quoted.
void appendFields(std::ostringstream& out, const Json& object,
                  std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    if (object.contains(key)) {
      out << ' ' << key << '=' << object[key].dump();
    }
  }
}

// The part of a line after the kind; json is the record's JSON form.

void describe(std::ostringstream& out, const CallbackRecord&, const Json& json) {
  out << json["name"].get<std::string>();
  if (json.contains("creative")) {
    appendFields(out, json["creative"],
                 {"creativeId", "bindingId", "campaignId", "spaceId", "data"});
  }
  appendFields(out, json, {"code", "message"});
}

void describe(std::ostringstream& out, const NotificationRecord&, const Json& json) {
  out << "identifier=" << json["identifier"].get<std::string>();
  appendFields(out, json, {"title", "body", "delay", "userInfo"});
}

void describe(std::ostringstream& out, const LogLineRecord&, const Json& json) {
  out << json["text"].get<std::string>();
}

void describe(std::ostringstream& out, const ScanRecord&, const Json& json) {
  out << json["action"].get<std::string>();
  appendFields(out, json, {"services", "allowDuplicates"});
}

void describe(std::ostringstream& out, const StateRecord&, const Json& json) {
  out << "isScanning=" << json["isScanning"].dump();
}

void describe(std::ostringstream& out, const DefaultsRecord& record, const Json& json) {
  if (record.store.empty()) {
    out << "(empty)";
  }
  const char* separator = "";
  for (const auto& [key, value] : json["store"].items()) {
    out << separator << key << '=' << value.dump();
    separator = " ";
  }
}

/// " 6.000s  kind          " with the time and kind columns aligned.
std::string prefix(double t, std::string_view kind) {
  std::ostringstream out;
  out << "  " << std::fixed << std::setprecision(3) << std::setw(kTimeWidth) << t << "s  "
      << std::left << std::setw(kKindWidth) << kind << "  ";
  return out.str();
}

bool startsWith(const platform::LogRecord& line, std::string_view text) {
  return line.message.starts_with(text);
}

}  // namespace

TimelinePrinter::TimelinePrinter(std::ostream& out, Detail detail) : out_(out), detail_(detail) {}

void TimelinePrinter::write(const SimRecord& record) {
  const std::lock_guard lock(mutex_);
  summary_.count(record);
  const auto* log = std::get_if<LogLineRecord>(&record);
  if (log && !tellsTheStory(*log) && detail_ == Detail::story) {
    ++hidden_;
    return;
  }
  print(log && detail_ == Detail::story ? storyLine(*log) : line(record));
}

void TimelinePrinter::note(const RunNote& note) {
  const std::lock_guard lock(mutex_);
  print(line(note));
}

void TimelinePrinter::finish(const std::optional<ServerTally>& server) {
  const std::lock_guard lock(mutex_);
  for (const std::string& text : summary_.lines(server)) {
    print("  " + text);
  }
  if (hidden_ > 0) {
    print("  (" + std::to_string(hidden_) +
          " debug and info log lines not shown: --verbose shows them)");
  }
}

std::string TimelinePrinter::line(const SimRecord& record) {
  const nlohmann::ordered_json json = RecordJson::encode(record);
  std::ostringstream out;
  out << prefix(json["t"].get<double>(), RecordJson::kind(record));
  std::visit([&out, &json](const auto& held) { describe(out, held, json); }, record);
  return out.str();
}

std::string TimelinePrinter::line(const RunNote& note) {
  return std::visit(
      [](const auto& held) {
        using Note = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Note, ActionNote>) {
          return prefix(held.t, "action") + held.description;
        } else {
          return prefix(held.t, "server") + held.text;
        }
      },
      note);
}

std::string TimelinePrinter::storyLine(const LogLineRecord& record) {
  const platform::LogRecord& line = record.line;
  std::string_view kind = "gate";
  if (line.level >= kErrorLevel) {
    kind = "error";
  } else if (line.level >= kWarningLevel) {
    kind = "warning";
  } else if (startsWith(line, "Processing beacon data")) {
    kind = "beacon";
  }
  return prefix(record.t, kind) + line.message;
}

bool TimelinePrinter::tellsTheStory(const LogLineRecord& record) {
  const platform::LogRecord& line = record.line;
  if (line.level >= kWarningLevel) return true;
  // The gate: only its changes, not the region state repeated at every start.
  if (startsWith(line, "Entered iBeacon region") || startsWith(line, "Exited iBeacon region")) {
    const bool entered = startsWith(line, "Entered");
    const bool changed = entered != insideRegion_;
    insideRegion_ = entered;
    return changed;
  }
  return startsWith(line, "iBeacon timeout reached") || startsWith(line, "Processing beacon data");
}

void TimelinePrinter::print(const std::string& text) { out_ << text << std::endl; }

}  // namespace lumora::tools
