#pragma once

#include <filesystem>
#include <optional>

namespace lumora::platform {

/// The directory a host chose with lumora::setBundleDirectory(), if any.
std::optional<std::filesystem::path> configuredBundleDirectory();

}  // namespace lumora::platform
