#include "devserver/EventLog.hpp"

#include <sstream>
#include <utility>

#include "devserver/DevServerError.hpp"
#include "devserver/EscapedText.hpp"
#include "devserver/EventValidator.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;

/// " key=value" for a value present in object; strings unquoted but escaped.
void appendField(std::ostringstream& line, const json& object, const std::string& key) {
  const auto found = object.find(key);
  if (found != object.end()) {
    line << ' ' << key << '='
         << (found->is_string() ? EscapedText::of(found->get_ref<const std::string&>())
                                : found->dump());
  }
}

/// The body parsed, or discarded when it is not JSON or nested too deep.
json parseShallow(std::string_view body, bool& tooDeep) {
  tooDeep = false;
  const json::parser_callback_t refuseDeep = [&tooDeep](int depth, json::parse_event_t, json&) {
    tooDeep = tooDeep || depth > EventLog::kMaxDepth;
    return !tooDeep;
  };
  json parsed = json::parse(body, refuseDeep, /*allow_exceptions=*/false);
  return tooDeep ? json(json::value_t::discarded) : parsed;
}

void judge(ReceivedEvent& event, std::string_view body) {
  if (body.empty()) {
    event.problems = {"the body is empty"};
    return;
  }
  if (!EscapedText::isValidUtf8(body)) {
    event.body = EscapedText::of(body);
    event.problems = {"the body is not UTF-8 (recorded with \\xNN escapes)"};
    return;
  }
  event.body = std::string(body);
  bool tooDeep = false;
  json parsed = parseShallow(body, tooDeep);
  if (tooDeep) {
    event.problems = {"the body is nested deeper than " + std::to_string(EventLog::kMaxDepth) +
                      " levels"};
  } else if (parsed.is_discarded()) {
    event.problems = {"the body is not valid JSON"};
  } else {
    event.body = std::move(parsed);
    event.problems = EventValidator::check(event.body);
  }
}

}  // namespace

EventLog::EventLog(const std::optional<std::filesystem::path>& jsonLinesFile) {
  if (jsonLinesFile) {
    file_.emplace(*jsonLinesFile, std::ios::app);
    if (!*file_) {
      throw DevServerError("cannot open events file " + jsonLinesFile->string());
    }
  }
}

ReceivedEvent EventLog::receive(std::string path, std::string_view body) {
  ReceivedEvent event{std::move(path), nullptr, false, {}};
  judge(event, body);
  event.valid = event.problems.empty();

  const std::lock_guard lock(mutex_);
  events_.push_back(event);
  if (file_) {
    *file_ << toJsonLine(event).dump() << std::endl;
  }
  return event;
}

std::vector<ReceivedEvent> EventLog::events() const {
  const std::lock_guard lock(mutex_);
  return events_;
}

json EventLog::toJsonLine(const ReceivedEvent& event) {
  json line = event.body.is_object() ? event.body : json{{"body", event.body}};
  line["path"] = EscapedText::of(event.path);
  line["valid"] = event.valid;
  line["problems"] = event.problems;
  return line;
}

std::string EventLog::summary(const ReceivedEvent& event) {
  std::ostringstream line;
  if (!event.valid) {
    line << "INVALID:";
    const char* separator = " ";
    for (const std::string& problem : event.problems) {
      line << separator << problem;
      separator = "; ";
    }
    return line.str();
  }
  const json& body = event.body;
  line << body.at("eventType").get<std::string>();
  for (const char* key : {"bindingId", "cid", "crid", "uuid"}) {
    appendField(line, body, key);
  }
  appendField(line, body.at("spaceInfo"), "spaceId");
  for (const char* key : {"appName", "deviceMode", "deviceId", "phoneNumber", "email"}) {
    appendField(line, body.at("clientInfo"), key);
  }
  return line.str();
}

}  // namespace lumora::tools
