#pragma once

#include <glib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// Readers for values received over D-Bus (BlueZ properties, server replies),
/// each tolerant of a value of
/// the wrong D-Bus type (answering nothing or an empty list).

/// ManufacturerData (a{qv} holding ay) as one advertisement carried it: the
/// company identifier little-endian, then the value. With several entries the
/// first one is taken, as an advertisement normally carries one.
std::optional<std::vector<std::uint8_t>> manufacturerDataBytes(GVariant* value);
/// An array of strings (as), as sent.
std::vector<std::string> stringList(GVariant* value);
/// An array of strings (as), each UUID upper-cased.
std::vector<std::string> uuidList(GVariant* value);
/// The keys of a dictionary keyed by UUID strings (ServiceData, a{sv}), upper-cased.
std::vector<std::string> uuidKeys(GVariant* value);
std::string upperCased(std::string text);

}  // namespace lumora::platform
