#include "platform/linux/DbusValues.hpp"

#include <algorithm>
#include <cctype>
#include <utility>

namespace lumora::platform {

std::optional<std::vector<std::uint8_t>> manufacturerDataBytes(GVariant* value) {
  if (!g_variant_is_of_type(value, G_VARIANT_TYPE("a{qv}")) || g_variant_n_children(value) == 0) {
    return std::nullopt;
  }
  guint16 companyId = 0;
  GVariant* data = nullptr;
  g_variant_get_child(value, 0, "{qv}", &companyId, &data);
  std::optional<std::vector<std::uint8_t>> bytes;
  if (g_variant_is_of_type(data, G_VARIANT_TYPE_BYTESTRING)) {
    gsize size = 0;
    const auto* raw = static_cast<const std::uint8_t*>(
        g_variant_get_fixed_array(data, &size, sizeof(std::uint8_t)));
    bytes = std::vector<std::uint8_t>{static_cast<std::uint8_t>(companyId & 0xff),
                                      static_cast<std::uint8_t>(companyId >> 8)};
    bytes->insert(bytes->end(), raw, raw + size);
  }
  g_variant_unref(data);
  return bytes;
}

std::vector<std::string> stringList(GVariant* value) {
  std::vector<std::string> result;
  if (!g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY)) return result;
  GVariantIter iter;
  const gchar* text = nullptr;
  g_variant_iter_init(&iter, value);
  while (g_variant_iter_next(&iter, "&s", &text)) result.emplace_back(text);
  return result;
}

std::vector<std::string> uuidList(GVariant* value) {
  auto result = stringList(value);
  for (auto& uuid : result) uuid = upperCased(std::move(uuid));
  return result;
}

std::vector<std::string> uuidKeys(GVariant* value) {
  std::vector<std::string> result;
  if (!g_variant_is_of_type(value, G_VARIANT_TYPE("a{sv}"))) return result;
  GVariantIter iter;
  const gchar* key = nullptr;
  GVariant* ignored = nullptr;
  g_variant_iter_init(&iter, value);
  while (g_variant_iter_next(&iter, "{&sv}", &key, &ignored)) {
    result.push_back(upperCased(key));
    g_variant_unref(ignored);
  }
  return result;
}

std::string upperCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

}  // namespace lumora::platform
