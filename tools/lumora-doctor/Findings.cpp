#include "lumora-doctor/Findings.hpp"

#include <algorithm>
#include <utility>

namespace lumora::doctor {
namespace {

constexpr std::size_t kLongestText = 400;

/// Texts from peers (D-Bus error messages, libcurl) may span lines or run
/// long; a check is printed on one line.
std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
  if (text.size() > kLongestText) text = text.substr(0, kLongestText) + "...";
  return text;
}

}  // namespace

void Findings::ok(std::string text) { add(CheckStatus::ok, std::move(text), {}); }

void Findings::warning(std::string text, std::string remedy) {
  add(CheckStatus::warning, std::move(text), std::move(remedy));
}

void Findings::error(std::string text, std::string remedy) {
  add(CheckStatus::error, std::move(text), std::move(remedy));
}

void Findings::add(CheckStatus status, std::string text, std::string remedy) {
  texts_.push_back(oneLine(std::move(text)));
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
