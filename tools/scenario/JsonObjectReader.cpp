#include "scenario/JsonObjectReader.hpp"

#include <algorithm>
#include <limits>

#include "scenario/ScenarioError.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;

/// JSON text of a value, escaped to one line (invalid UTF-8 replaced).
std::string escaped(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string shown(const json& value) {
  constexpr std::size_t kMaxShown = 40;
  const std::string text = escaped(value);
  return text.size() > kMaxShown ? text.substr(0, kMaxShown) + "..." : text;
}

bool hasControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7f;
  });
}

}  // namespace

JsonObjectReader::JsonObjectReader(const json& value, std::string where)
    : object_(value), where_(std::move(where)) {
  if (!value.is_object()) {
    failHere("must be an object, got " + shown(value));
  }
}

bool JsonObjectReader::has(std::string_view key) const { return object_.contains(key); }

std::string JsonObjectReader::string(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_string()) {
    fail(key, "must be a string, got " + shown(value));
  }
  std::string text = value.get<std::string>();
  checkText(key, text);
  return text;
}

std::optional<std::string> JsonObjectReader::optionalString(std::string_view key) const {
  const json* value = optional(key);
  if (value == nullptr || value->is_null()) {
    return std::nullopt;
  }
  return string(key);
}

std::int64_t JsonObjectReader::integer(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_number_integer() ||
      (value.is_number_unsigned() &&
       value.get<std::uint64_t>() >
           static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
    fail(key, "must be an integer, got " + shown(value));
  }
  return value.get<std::int64_t>();
}

std::optional<std::int64_t> JsonObjectReader::optionalInteger(std::string_view key) const {
  return has(key) ? std::optional(integer(key)) : std::nullopt;
}

bool JsonObjectReader::boolean(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_boolean()) {
    fail(key, "must be true or false, got " + shown(value));
  }
  return value.get<bool>();
}

std::optional<bool> JsonObjectReader::optionalBool(std::string_view key) const {
  return has(key) ? std::optional(boolean(key)) : std::nullopt;
}

double JsonObjectReader::seconds(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_number()) {
    fail(key, "must be a number of seconds, got " + shown(value));
  }
  const double result = value.get<double>();
  if (result < 0) {
    fail(key, "must not be negative, got " + shown(value));
  }
  return result;
}

std::optional<double> JsonObjectReader::optionalSeconds(std::string_view key) const {
  return has(key) ? std::optional(seconds(key)) : std::nullopt;
}

const json& JsonObjectReader::object(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_object()) {
    fail(key, "must be an object, got " + shown(value));
  }
  return value;
}

const json& JsonObjectReader::array(std::string_view key) const {
  const json& value = required(key);
  if (!value.is_array()) {
    fail(key, "must be a list, got " + shown(value));
  }
  return value;
}

void JsonObjectReader::allowOnly(std::initializer_list<std::string_view> allowed,
                                 std::initializer_list<std::string_view> alsoAllowed) const {
  const auto listed = [](std::initializer_list<std::string_view> keys, std::string_view key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
  };
  for (const auto& [key, value] : object_.items()) {
    if (!listed(allowed, key) && !listed(alsoAllowed, key)) {
      fail(key, "is not a known field");
    }
  }
}

void JsonObjectReader::checkText(std::string_view key, std::string_view text) const {
  if (hasControlCharacter(text)) {
    fail(key, "must not hold control characters, got " + shown(json(text)));
  }
}

void JsonObjectReader::fail(std::string_view key, const std::string& problem) const {
  // Keys come from the file: quoted and escaped, the message stays one line
  // whatever the key holds.
  failHere(escaped(json(key)) + " " + problem);
}

void JsonObjectReader::failHere(const std::string& problem) const {
  throw ScenarioError(where_.empty() ? problem : where_ + ": " + problem);
}

const json& JsonObjectReader::required(std::string_view key) const {
  const json* value = optional(key);
  if (value == nullptr) {
    fail(key, "is missing");
  }
  return *value;
}

const json* JsonObjectReader::optional(std::string_view key) const {
  const auto found = object_.find(key);
  return found == object_.end() ? nullptr : &*found;
}

}  // namespace lumora::tools
