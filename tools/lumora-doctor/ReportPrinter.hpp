#pragma once

#include <ostream>
#include <vector>

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// Writes the checks for a person (one line per check, then a verdict) or as
/// JSON: {"checks": [{"name", "status", "detail"}]}, the remedy appended to
/// the detail.
class ReportPrinter {
 public:
  static void printText(const std::vector<Check>& checks, std::ostream& out);
  static void printJson(const std::vector<Check>& checks, std::ostream& out);
  /// True when some check is an error: something blocks the SDK.
  static bool blocked(const std::vector<Check>& checks);
};

}  // namespace lumora::doctor
