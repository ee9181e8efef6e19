#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/config/PropertyListScreen.hpp"
#include "platform/ResourceBundle.hpp"

namespace lumora {

/// A read-only dictionary from a property list (XML or binary), with typed
/// lookups. Every lookup answers nothing for a key that is absent or whose
/// value has another type, so callers treat "wrong type" as "missing".
///
/// A nested dictionary shares ownership of the whole parsed tree, so it stays
/// valid however long it outlives the dictionary it came from. Copies are
/// cheap and may be read from several threads at once.
class PropertyList {
 public:
  /// What a configuration file may be: a resource's size cap, and far more
  /// dictionaries and arrays than any configuration needs.
  static constexpr PropertyListScreen::Limits kLimits{platform::ResourceBundle::kMaxResourceSize,
                                                      256};

  /// The root dictionary of the bytes, or nothing when they are empty, beyond
  /// kLimits, not a well-formed property list, or one whose root is not a
  /// dictionary.
  static std::optional<PropertyList> parseDictionary(std::span<const std::uint8_t> bytes);

  /// The value for key when it is a dictionary.
  std::optional<PropertyList> dictionary(const std::string& key) const;
  /// The value for key when it is a string, byte for byte.
  std::optional<std::string> string(const std::string& key) const;

 private:
  explicit PropertyList(std::shared_ptr<void> node);
  /// The value for key when it has the given libplist node type.
  void* item(const std::string& key, int type) const;

  /// Points at this dictionary's node; owns the tree's root.
  std::shared_ptr<void> node_;
};

}  // namespace lumora
