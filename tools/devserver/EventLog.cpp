#include "devserver/EventLog.hpp"

#include <sstream>
#include <utility>

#include "devserver/DevServerError.hpp"
#include "devserver/EventValidator.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;

/// " key=value" for a value present in object; strings unquoted.
void appendField(std::ostringstream& line, const json& object, const std::string& key) {
  const auto found = object.find(key);
  if (found != object.end()) {
    line << ' ' << key << '=' << (found->is_string() ? found->get<std::string>() : found->dump());
  }
}

}  // namespace

EventLog::EventLog(const std::optional<std::filesystem::path>& jsonLinesFile, std::ostream* console)
    : console_(console) {
  if (jsonLinesFile) {
    file_.emplace(*jsonLinesFile, std::ios::app);
    if (!*file_) {
      throw DevServerError("cannot open events file " + jsonLinesFile->string());
    }
  }
}

ReceivedEvent EventLog::receive(std::string path, std::string_view body) {
  ReceivedEvent event{std::move(path), json(std::string(body)), false, {}};
  json parsed = json::parse(body, nullptr, /*allow_exceptions=*/false);
  if (body.empty()) {
    event.problems = {"the body is empty"};
  } else if (parsed.is_discarded()) {
    event.problems = {"the body is not valid JSON"};
  } else {
    event.body = std::move(parsed);
    event.problems = EventValidator::check(event.body);
  }
  event.valid = event.problems.empty();

  const std::lock_guard lock(mutex_);
  events_.push_back(event);
  if (console_ != nullptr) {
    *console_ << summary(event) << std::endl;
  }
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
  line["path"] = event.path;
  line["valid"] = event.valid;
  line["problems"] = event.problems;
  return line;
}

std::string EventLog::summary(const ReceivedEvent& event) {
  std::ostringstream line;
  line << "POST " << event.path << "  ";
  if (!event.valid) {
    line << "INVALID -> 400:";
    const char* separator = " ";
    for (const std::string& problem : event.problems) {
      line << separator << problem;
      separator = "; ";
    }
    return line.str();
  }
  const json& body = event.body;
  line << body.at("eventType").get<std::string>() << " ";
  for (const char* key : {"bindingId", "cid", "crid", "uuid"}) {
    appendField(line, body, key);
  }
  appendField(line, body.at("spaceInfo"), "spaceId");
  for (const char* key : {"appName", "deviceMode", "deviceId", "phoneNumber", "email"}) {
    appendField(line, body.at("clientInfo"), key);
  }
  line << " -> 200";
  return line.str();
}

}  // namespace lumora::tools
