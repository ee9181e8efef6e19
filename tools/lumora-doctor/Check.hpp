#pragma once

#include <string>
#include <string_view>

namespace lumora::doctor {

enum class CheckStatus { ok, warning, error };

/// The name printed for a status: "ok", "warning" or "error".
constexpr std::string_view statusName(CheckStatus status) {
  switch (status) {
    case CheckStatus::ok:
      return "ok";
    case CheckStatus::warning:
      return "warning";
    case CheckStatus::error:
      return "error";
  }
  return "error";
}

/// The outcome of one check: what was found and, unless it is ok, the one
/// thing to do about it.
struct Check {
  std::string name;
  CheckStatus status = CheckStatus::ok;
  std::string detail;
  std::string remedy;  // empty when there is nothing to do
};

}  // namespace lumora::doctor
