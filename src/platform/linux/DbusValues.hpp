#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace lumora::platform {

/// An array of strings (as) received over D-Bus, as sent; a value of another
/// D-Bus type reads as an empty list.
std::vector<std::string> stringList(GVariant* value);

}  // namespace lumora::platform
