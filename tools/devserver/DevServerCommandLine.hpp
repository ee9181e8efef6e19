#pragma once

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "devserver/DevServerEngine.hpp"

namespace lumora::tools {

/// The lumora-devserver command line:
///   --creatives DIR [--listen ADDRESS] [--port N]
///   [--cert F --key F | --cert-dir DIR] [--events OUT.jsonl]
class DevServerCommandLine {
 public:
  static constexpr std::string_view kUsage =
      "usage: lumora-devserver --creatives DIR [--listen ADDRESS] [--port N] [--cert FILE --key "
      "FILE | --cert-dir DIR] [--events OUT.jsonl]";

  /// Looks up an environment variable; nullptr when unset.
  using Environment = std::function<const char*(const char*)>;

  /// arguments: without the program name. Without --cert or --cert-dir the
  /// certificate is kept in defaultCertificateDirectory(). Throws
  /// DevServerError with a one-line message for an unknown option, a missing
  /// value, a bad port or address, or options that do not go together. The
  /// console is left unset.
  static DevServerConfig parse(std::span<const std::string_view> arguments,
                               const Environment& environment = std::getenv);

  /// $XDG_DATA_HOME/lumora/devserver, or ~/.local/share/lumora/devserver when
  /// XDG_DATA_HOME is unset or not absolute. Throws DevServerError when
  /// neither variable gives a place.
  static std::filesystem::path defaultCertificateDirectory(const Environment& environment);

  /// What the server prints once it listens: where, and how a host trusts it.
  static std::string banner(const DevServerEngine& server);

  /// True when the arguments ask for the usage text.
  static bool wantsHelp(std::span<const std::string_view> arguments);
};

}  // namespace lumora::tools
