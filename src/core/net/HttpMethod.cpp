#include "core/net/HttpMethod.hpp"

#include <array>
#include <utility>

namespace lumora {
namespace {

constexpr std::array<std::pair<HttpMethod, std::string_view>, 4> kMethods{{
    {HttpMethod::get, "GET"},
    {HttpMethod::post, "POST"},
    {HttpMethod::put, "PUT"},
    {HttpMethod::delete_, "DELETE"},
}};

}  // namespace

std::string_view rawValue(HttpMethod method) noexcept {
  for (const auto& [candidate, text] : kMethods) {
    if (candidate == method) return text;
  }
  return {};
}

std::optional<HttpMethod> httpMethodFromRawValue(std::string_view text) noexcept {
  for (const auto& [method, candidate] : kMethods) {
    if (candidate == text) return method;
  }
  return std::nullopt;
}

}  // namespace lumora
