#pragma once

#include <string>
#include <vector>

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// Collects what one check finds, item by item. The check's status is the
/// worst item's; its remedy is that of the first item with that status, so
/// the most pressing fix is the one printed.
class Findings {
 public:
  void ok(std::string text);
  void warning(std::string text, std::string remedy);
  void error(std::string text, std::string remedy);

  bool hasError() const { return status_ == CheckStatus::error; }
  /// The check: the items' texts joined with "; ".
  Check check(std::string name) const;

 private:
  void add(CheckStatus status, std::string text, std::string remedy);

  CheckStatus status_ = CheckStatus::ok;
  std::vector<std::string> texts_;
  std::string remedy_;
};

}  // namespace lumora::doctor
