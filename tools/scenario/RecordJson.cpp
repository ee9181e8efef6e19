#include "scenario/RecordJson.hpp"

#include <array>

namespace lumora::tools {
namespace {

using nlohmann::ordered_json;

constexpr std::array<const char*, 4> kLevelNames = {"debug", "info", "warning", "error"};

ordered_json creativeJson(const LumoraAdCreative& creative) {
  ordered_json object;
  object["data"] = creative.data() ? ordered_json(*creative.data()) : ordered_json(nullptr);
  object["creativeId"] = creative.creativeId();
  object["bindingId"] = creative.bindingId();
  object["campaignId"] = creative.campaignId();
  object["spaceId"] = creative.spaceId();
  return object;
}

std::string levelName(const platform::LogRecord& line) {
  const bool known = line.level >= 0 && line.level < static_cast<std::int64_t>(kLevelNames.size());
  return known ? kLevelNames[static_cast<std::size_t>(line.level)] : line.levelName;
}

void addFields(ordered_json& out, const CallbackRecord& record) {
  out["name"] = record.name;
  if (record.creative) {
    out["creative"] = creativeJson(*record.creative);
  }
  if (record.error) {
    out["code"] = rawValue(record.error->code());
    out["message"] = record.error->message();
  }
}

void addFields(ordered_json& out, const NotificationRecord& record) {
  out["identifier"] = record.identifier;
  out["title"] = record.title;
  out["body"] = record.body;
  ordered_json userInfo = ordered_json::object();
  for (const auto& [key, value] : record.userInfo) {
    std::visit([&userInfo, &key](const auto& held) { userInfo[key] = held; }, value);
  }
  out["userInfo"] = std::move(userInfo);
  out["delay"] = record.delay;
}

void addFields(ordered_json& out, const LogLineRecord& record) {
  out["level"] = levelName(record.line);
  out["file"] = record.line.file;
  out["function"] = record.line.function;
  out["message"] = record.line.message;
  out["text"] = record.line.text;
}

void addFields(ordered_json& out, const ScanRecord& record) {
  out["action"] = record.start ? "start" : "stop";
  if (record.start) {
    out["services"] = record.services;
    out["allowDuplicates"] = record.allowDuplicates;
  }
}

void addFields(ordered_json& out, const StateRecord& record) {
  out["isScanning"] = record.isScanning;
}

void addFields(ordered_json& out, const DefaultsRecord& record) {
  out["store"] = ordered_json(record.store);
}

}  // namespace

ordered_json RecordJson::encode(const SimRecord& record) {
  ordered_json out;
  out["t"] = time(record);
  out["kind"] = kind(record);
  std::visit([&out](const auto& held) { addFields(out, held); }, record);
  return out;
}

const char* RecordJson::kind(const SimRecord& record) {
  return std::visit([](const auto& held) { return held.kKind; }, record);
}

double RecordJson::time(const SimRecord& record) {
  return std::visit([](const auto& held) { return held.t; }, record);
}

}  // namespace lumora::tools
