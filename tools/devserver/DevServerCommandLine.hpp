#pragma once

#include <span>
#include <string>
#include <string_view>

#include "devserver/DevServerEngine.hpp"

namespace lumora::tools {

/// The lumora-devserver command line:
///   --creatives DIR [--port N] [--cert F --key F | --cert-dir DIR] [--events OUT.jsonl]
class DevServerCommandLine {
 public:
  static constexpr std::string_view kUsage =
      "usage: lumora-devserver --creatives DIR [--port N] [--cert FILE --key FILE | --cert-dir "
      "DIR] [--events OUT.jsonl]";

  /// arguments: without the program name. Throws DevServerError with a
  /// one-line message for an unknown option, a missing value, a bad port, or
  /// options that do not go together. The console is left unset.
  static DevServerConfig parse(std::span<const std::string_view> arguments);

  /// True when the arguments ask for the usage text.
  static bool wantsHelp(std::span<const std::string_view> arguments);
};

}  // namespace lumora::tools
