#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::tools {

/// Typed, checked access to the fields of one JSON object of a scenario.
/// Every failure throws ScenarioError naming the place and the field, e.g.
///   steps[3] (detect): "bindingId" must be an integer
class JsonObjectReader {
 public:
  /// where: how messages name this object ("" for the top level, "initial",
  /// "steps[3] (detect)"). Throws when value is not an object.
  JsonObjectReader(const nlohmann::json& value, std::string where);

  bool has(std::string_view key) const;
  const std::string& where() const noexcept { return where_; }

  /// A string without control characters.
  std::string string(std::string_view key) const;
  /// Absent or null: nullopt.
  std::optional<std::string> optionalString(std::string_view key) const;
  std::int64_t integer(std::string_view key) const;
  std::optional<std::int64_t> optionalInteger(std::string_view key) const;
  std::optional<bool> optionalBool(std::string_view key) const;
  bool boolean(std::string_view key) const;
  /// A number of seconds, zero or more.
  double seconds(std::string_view key) const;
  std::optional<double> optionalSeconds(std::string_view key) const;
  /// The field itself, which must be an object or an array.
  const nlohmann::json& object(std::string_view key) const;
  const nlohmann::json& array(std::string_view key) const;

  /// Throws for the first key that is in neither list.
  void allowOnly(std::initializer_list<std::string_view> allowed,
                 std::initializer_list<std::string_view> alsoAllowed = {}) const;

  /// Throws unless text is free of control characters (text read from key).
  void checkText(std::string_view key, std::string_view text) const;

  /// Throws ScenarioError: <where>: "<key>" <problem>.
  [[noreturn]] void fail(std::string_view key, const std::string& problem) const;
  /// Throws ScenarioError: <where>: <problem>.
  [[noreturn]] void failHere(const std::string& problem) const;

 private:
  const nlohmann::json& required(std::string_view key) const;
  const nlohmann::json* optional(std::string_view key) const;

  const nlohmann::json& object_;
  std::string where_;
};

}  // namespace lumora::tools
