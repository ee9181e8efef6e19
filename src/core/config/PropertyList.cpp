#include "core/config/PropertyList.hpp"

#include <plist/plist.h>

#include <utility>

namespace lumora {

PropertyList::PropertyList(std::shared_ptr<void> node) : node_(std::move(node)) {}

std::optional<PropertyList> PropertyList::parseDictionary(std::span<const std::uint8_t> bytes) {
  // The screen also keeps the length within what libplist takes (32 bits).
  if (bytes.empty() || !PropertyListScreen(kLimits).admits(bytes)) return std::nullopt;
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::uint32_t>(bytes.size()), &root);
  if (root == nullptr) return std::nullopt;
  std::shared_ptr<void> owner(root, plist_free);
  if (plist_get_node_type(root) != PLIST_DICT) return std::nullopt;
  return PropertyList(std::move(owner));
}

void* PropertyList::item(const std::string& key, int type) const {
  plist_t value = plist_dict_get_item(node_.get(), key.c_str());
  if (value == nullptr || plist_get_node_type(value) != type) return nullptr;
  return value;
}

std::optional<PropertyList> PropertyList::dictionary(const std::string& key) const {
  void* value = item(key, PLIST_DICT);
  if (value == nullptr) return std::nullopt;
  return PropertyList(std::shared_ptr<void>(node_, value));
}

std::optional<std::string> PropertyList::string(const std::string& key) const {
  void* value = item(key, PLIST_STRING);
  if (value == nullptr) return std::nullopt;
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(value, &length);
  if (text == nullptr) return std::nullopt;
  return std::string(text, length);
}

}  // namespace lumora
