#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::tools {

/// One POST to a ".../device_events" path, as received and judged.
struct ReceivedEvent {
  std::string path;
  /// The parsed body; the raw text as a JSON string when it is not JSON, with
  /// EscapedText's escapes when it is not even UTF-8.
  nlohmann::json body;
  bool valid = false;
  std::vector<std::string> problems;
};

/// Receives device events: checks each body, keeps it and appends one JSON
/// line per event (the body's keys plus "path", "valid" and "problems"). Any
/// bytes are accepted and recorded; none makes it throw. Safe from any
/// thread; lines never interleave.
class EventLog {
 public:
  /// Bodies nested deeper than this are refused unparsed, so that judging and
  /// printing them stays cheap.
  static constexpr int kMaxDepth = 32;

  /// jsonLinesFile: appended to, created when missing; nullopt: no file.
  /// Throws DevServerError when the file cannot be opened.
  explicit EventLog(const std::optional<std::filesystem::path>& jsonLinesFile);

  ReceivedEvent receive(std::string path, std::string_view body);

  /// A copy of every event received so far, in arrival order.
  std::vector<ReceivedEvent> events() const;

  static nlohmann::json toJsonLine(const ReceivedEvent& event);
  /// What a log line says about the event, e.g.
  ///   click bindingId=1234 cid=12 ... appName=Demo
  ///   INVALID: "uuid" is missing; "cid" is missing
  static std::string summary(const ReceivedEvent& event);

 private:
  mutable std::mutex mutex_;
  std::optional<std::ofstream> file_;
  std::vector<ReceivedEvent> events_;
};

}  // namespace lumora::tools
