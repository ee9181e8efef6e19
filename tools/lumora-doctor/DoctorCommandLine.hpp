#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

namespace lumora::doctor {

/// The lumora-doctor command line: [--json] [--config FILE] [--help].
struct DoctorCommandLine {
  static constexpr std::string_view kUsage = "usage: lumora-doctor [--json] [--config FILE]";

  bool json = false;
  bool help = false;
  std::optional<std::filesystem::path> configFile;

  /// arguments: without the program name. Throws std::invalid_argument with a
  /// one-line message for an unknown option or a missing value.
  static DoctorCommandLine parse(std::span<const std::string_view> arguments);
};

}  // namespace lumora::doctor
