#include "lumora-doctor/ReportPrinter.hpp"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <string>

namespace lumora::doctor {
namespace {

std::string detailWithRemedy(const Check& check) {
  return check.remedy.empty() ? check.detail : check.detail + ". Fix: " + check.remedy;
}

}  // namespace

void ReportPrinter::printText(const std::vector<Check>& checks, std::ostream& out) {
  for (const auto& check : checks) {
    out << std::left << std::setw(8) << statusName(check.status) << std::setw(14) << check.name
        << detailWithRemedy(check) << '\n';
  }
  out << (blocked(checks) ? "Something blocks the SDK on this machine: fix the errors above.\n"
                          : "Nothing blocks the SDK on this machine.\n");
}

void ReportPrinter::printJson(const std::vector<Check>& checks, std::ostream& out) {
  nlohmann::json list = nlohmann::json::array();
  for (const auto& check : checks) {
    list.push_back({{"name", check.name},
                    {"status", statusName(check.status)},
                    {"detail", detailWithRemedy(check)}});
  }
  // Texts from files and servers may hold invalid UTF-8: replace, never throw.
  out << nlohmann::json{{"checks", list}}.dump(2, ' ', false,
                                               nlohmann::json::error_handler_t::replace)
      << '\n';
}

bool ReportPrinter::blocked(const std::vector<Check>& checks) {
  return std::any_of(checks.begin(), checks.end(),
                     [](const Check& check) { return check.status == CheckStatus::error; });
}

}  // namespace lumora::doctor
