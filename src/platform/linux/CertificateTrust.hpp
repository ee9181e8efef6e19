#pragma once

#include <optional>
#include <string>

namespace lumora::platform {

/// The PEM file of extra certificate authorities the host chose: the one given
/// to lumora::setExtraCertificateAuthorities(), else the one named by the
/// environment variable LUMORA_CA_FILE, else none.
std::optional<std::string> configuredExtraCaFile();

}  // namespace lumora::platform
