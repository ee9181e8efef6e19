#include "sim/TimelinePrinter.hpp"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "sim/RecordJson.hpp"

namespace lumora::tools {
namespace {

constexpr int kTimeWidth = 8;
constexpr int kKindWidth = 12;  // "notification"

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

}  // namespace

TimelinePrinter::TimelinePrinter(std::ostream& out) : out_(out) {}

void TimelinePrinter::write(const SimRecord& record) {
  const std::string text = line(record);
  const std::lock_guard lock(mutex_);
  out_ << text << std::endl;
}

std::string TimelinePrinter::line(const SimRecord& record) {
  const nlohmann::ordered_json json = RecordJson::encode(record);
  std::ostringstream out;
  out << "  " << std::fixed << std::setprecision(3) << std::setw(kTimeWidth)
      << json["t"].get<double>() << "s  " << std::left << std::setw(kKindWidth)
      << RecordJson::kind(record) << "  ";
  std::visit([&out, &json](const auto& held) { describe(out, held, json); }, record);
  return out.str();
}

}  // namespace lumora::tools
