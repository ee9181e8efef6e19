#pragma once

#include <optional>
#include <string_view>

namespace lumora {

/// The request verbs the web services use. Hashable and comparable as an enum.
enum class HttpMethod { get, post, put, delete_ };

/// "GET", "POST", "PUT" or "DELETE".
std::string_view rawValue(HttpMethod method) noexcept;
/// The method with exactly this text; nothing for any other text.
std::optional<HttpMethod> httpMethodFromRawValue(std::string_view text) noexcept;

}  // namespace lumora
