#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::tools {

/// One POST to a ".../device_events" path, as received and judged.
struct ReceivedEvent {
  std::string path;
  nlohmann::json body;  // the parsed body; the raw text as a JSON string when it is not JSON
  bool valid = false;
  std::vector<std::string> problems;
};

/// Receives device events: checks each body, keeps it, prints one
/// human-readable line per event and appends one JSON line per event (the
/// body's keys plus "path", "valid" and "problems"). Safe from any thread;
/// lines never interleave.
class EventLog {
 public:
  /// jsonLinesFile: appended to, created when missing; nullopt: no file.
  /// console: where the one-line summaries go; nullptr: nowhere.
  /// Throws DevServerError when the file cannot be opened.
  EventLog(const std::optional<std::filesystem::path>& jsonLinesFile, std::ostream* console);

  ReceivedEvent receive(std::string path, std::string_view body);

  /// A copy of every event received so far, in arrival order.
  std::vector<ReceivedEvent> events() const;

  static nlohmann::json toJsonLine(const ReceivedEvent& event);
  /// e.g. POST /track/device_events  click  bindingId=1234 ... -> 200
  static std::string summary(const ReceivedEvent& event);

 private:
  mutable std::mutex mutex_;
  std::optional<std::ofstream> file_;
  std::ostream* console_;
  std::vector<ReceivedEvent> events_;
};

}  // namespace lumora::tools
