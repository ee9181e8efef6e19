#include "lumora-doctor/Findings.hpp"

#include <utility>

namespace lumora::doctor {

void Findings::ok(std::string text) { add(CheckStatus::ok, std::move(text), {}); }

void Findings::warning(std::string text, std::string remedy) {
  add(CheckStatus::warning, std::move(text), std::move(remedy));
}

void Findings::error(std::string text, std::string remedy) {
  add(CheckStatus::error, std::move(text), std::move(remedy));
}

void Findings::add(CheckStatus status, std::string text, std::string remedy) {
  texts_.push_back(std::move(text));
  if (status > status_) {
    status_ = status;
    remedy_ = std::move(remedy);
  }
}

Check Findings::check(std::string name) const {
  std::string detail;
  for (const auto& text : texts_) {
    if (!detail.empty()) detail += "; ";
    detail += text;
  }
  return Check{std::move(name), status_, std::move(detail), remedy_};
}

}  // namespace lumora::doctor
