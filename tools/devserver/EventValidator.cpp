#include "devserver/EventValidator.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

namespace lumora::tools {
namespace {

using nlohmann::json;

enum class Kind { integer, string, object };

constexpr std::int64_t kSmallest13Digits = 1'000'000'000'000;
constexpr std::int64_t kSmallest14Digits = 10'000'000'000'000;
constexpr std::array<std::string_view, 3> kEventTypes = {"request", "notification", "click"};

bool hasKind(const json& value, Kind kind) {
  switch (kind) {
    case Kind::integer:
      return value.is_number_integer();
    case Kind::string:
      return value.is_string();
    case Kind::object:
      return value.is_object();
  }
  return false;
}

std::string_view kindName(Kind kind) {
  switch (kind) {
    case Kind::integer:
      return "an integer";
    case Kind::string:
      return "a string";
    case Kind::object:
      return "an object";
  }
  return "";
}

bool isContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// The value as JSON, cut after about 40 bytes without splitting a character.
std::string shown(const json& value) {
  std::size_t cut = 40;
  std::string text = value.dump();
  if (text.size() > cut) {
    while (cut > 0 && isContinuationByte(text[cut])) {
      --cut;
    }
    text = text.substr(0, cut) + "...";
  }
  return text;
}

/// Collects problems for one object; where is "" at the top, "clientInfo." inside.
class ObjectCheck {
 public:
  ObjectCheck(const json& object, std::string where, std::vector<std::string>& problems)
      : object_(object), where_(std::move(where)), problems_(problems) {}

  /// The key quoted as a JSON string, so that any character in it stays visible.
  std::string name(std::string_view key) const { return json(where_ + std::string(key)).dump(); }

  /// The value when present and of the right kind; reports the problem otherwise.
  const json* field(std::string_view key, Kind kind, bool required) {
    const auto found = object_.find(key);
    if (found == object_.end()) {
      if (required) {
        problems_.push_back(name(key) + " is missing");
      }
      return nullptr;
    }
    if (!hasKind(*found, kind)) {
      problems_.push_back(name(key) + " must be " + std::string(kindName(kind)) + ", got " +
                          shown(*found));
      return nullptr;
    }
    return &*found;
  }

  void forbid(std::string_view key, std::string_view reason) {
    if (object_.contains(key)) {
      problems_.push_back(name(key) + " must be absent " + std::string(reason));
    }
  }

  void onlyKeys(std::initializer_list<std::string_view> allowed) {
    for (const auto& [key, value] : object_.items()) {
      if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
        problems_.push_back("unexpected key " + name(key));
      }
    }
  }

  void problem(std::string text) { problems_.push_back(std::move(text)); }

 private:
  const json& object_;
  std::string where_;
  std::vector<std::string>& problems_;
};

void checkTimestamp(ObjectCheck& top) {
  const json* timestamp = top.field("timestamp", Kind::integer, true);
  if (timestamp == nullptr) {
    return;
  }
  const auto milliseconds = timestamp->get<std::int64_t>();
  if (milliseconds < kSmallest13Digits || milliseconds >= kSmallest14Digits) {
    top.problem("\"timestamp\" must be milliseconds since 1970 (13 digits), got " +
                shown(*timestamp));
  }
}

std::optional<std::string> checkEventType(ObjectCheck& top) {
  const json* type = top.field("eventType", Kind::string, true);
  if (type == nullptr) {
    return std::nullopt;
  }
  const auto& text = type->get_ref<const std::string&>();
  if (std::find(kEventTypes.begin(), kEventTypes.end(), text) == kEventTypes.end()) {
    top.problem("\"eventType\" must be request, notification or click, got " + shown(*type));
    return std::nullopt;
  }
  return text;
}

void checkClientInfo(ObjectCheck& top, std::vector<std::string>& problems) {
  const json* info = top.field("clientInfo", Kind::object, true);
  if (info == nullptr) {
    return;
  }
  ObjectCheck inner(*info, "clientInfo.", problems);
  const json* platform = inner.field("platform", Kind::string, true);
  if (platform != nullptr && *platform != "ios") {
    inner.problem("\"clientInfo.platform\" must be \"ios\", got " + shown(*platform));
  }
  inner.field("appName", Kind::string, true);
  inner.field("deviceMode", Kind::string, true);
  for (const std::string_view optional : {"deviceId", "phoneNumber", "email"}) {
    inner.field(optional, Kind::string, false);
  }
  inner.onlyKeys({"platform", "appName", "deviceMode", "deviceId", "phoneNumber", "email"});
}

void checkSpaceInfo(ObjectCheck& top, std::vector<std::string>& problems) {
  const json* space = top.field("spaceInfo", Kind::object, true);
  if (space == nullptr) {
    return;
  }
  ObjectCheck inner(*space, "spaceInfo.", problems);
  inner.field("spaceId", Kind::string, true);
  inner.onlyKeys({"spaceId"});
}

/// "cid" and "crid" travel with notification and click events only.
void checkCreativeIds(ObjectCheck& top, const std::optional<std::string>& eventType) {
  for (const std::string_view key : {"cid", "crid"}) {
    if (eventType == "request") {
      top.forbid(key, "for a request event");
    } else {
      top.field(key, Kind::integer, eventType.has_value());
    }
  }
}

}  // namespace

std::vector<std::string> EventValidator::check(const json& body) {
  std::vector<std::string> problems;
  if (!body.is_object()) {
    problems.push_back("the body must be a JSON object, got " + shown(body));
    return problems;
  }
  ObjectCheck top(body, "", problems);
  checkTimestamp(top);
  const std::optional<std::string> eventType = checkEventType(top);
  top.field("uuid", Kind::string, true);
  top.field("bindingId", Kind::integer, true);
  checkClientInfo(top, problems);
  checkSpaceInfo(top, problems);
  checkCreativeIds(top, eventType);
  top.onlyKeys(
      {"timestamp", "eventType", "uuid", "bindingId", "clientInfo", "spaceInfo", "cid", "crid"});
  return problems;
}

}  // namespace lumora::tools
