#include "platform/linux/DbusValues.hpp"

namespace lumora::platform {

std::vector<std::string> stringList(GVariant* value) {
  std::vector<std::string> result;
  if (!g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY)) return result;
  GVariantIter iter;
  const gchar* text = nullptr;
  g_variant_iter_init(&iter, value);
  while (g_variant_iter_next(&iter, "&s", &text)) result.emplace_back(text);
  return result;
}

}  // namespace lumora::platform
