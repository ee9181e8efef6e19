#include "devserver/DevServerCommandLine.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <limits>

#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

std::uint16_t parsePort(std::string_view text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() ||
      value > std::numeric_limits<std::uint16_t>::max()) {
    throw DevServerError("--port needs a number from 0 to 65535, got '" + std::string(text) + "'");
  }
  return static_cast<std::uint16_t>(value);
}

std::string parseAddress(const std::string& text) {
  unsigned char ignored[sizeof(in6_addr)];
  if (inet_pton(AF_INET, text.c_str(), ignored) != 1 &&
      inet_pton(AF_INET6, text.c_str(), ignored) != 1) {
    throw DevServerError("--listen needs an IPv4 or IPv6 address, got '" + text + "'");
  }
  return text;
}

/// text as one shell word: unchanged when it is plain, in single quotes otherwise.
std::string shellWord(const std::string& text) {
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string_view("/._-+:,@").find(c) != std::string_view::npos;
  });
  if (plain) {
    return text;
  }
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

void checkCombination(const DevServerConfig& config) {
  if (config.creativesDir.empty()) {
    throw DevServerError("--creatives DIR is required");
  }
  if (config.certFile.has_value() != config.keyFile.has_value()) {
    throw DevServerError("--cert and --key go together");
  }
  if (config.certFile && config.certDir) {
    throw DevServerError("--cert-dir is for a generated certificate; it cannot go with --cert");
  }
}

}  // namespace

DevServerConfig DevServerCommandLine::parse(std::span<const std::string_view> arguments,
                                            const Environment& environment) {
  DevServerConfig config;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view option = arguments[i];
    if (!option.starts_with("--")) {
      throw DevServerError("unexpected argument '" + std::string(option) + "'");
    }
    if (i + 1 >= arguments.size()) {
      throw DevServerError(std::string(option) + " needs a value");
    }
    const std::string value(arguments[++i]);
    if (option == "--creatives") {
      config.creativesDir = value;
    } else if (option == "--listen") {
      config.listenAddress = parseAddress(value);
    } else if (option == "--port") {
      config.port = parsePort(value);
    } else if (option == "--cert") {
      config.certFile = value;
    } else if (option == "--key") {
      config.keyFile = value;
    } else if (option == "--cert-dir") {
      config.certDir = value;
    } else if (option == "--events") {
      config.eventsFile = value;
    } else {
      throw DevServerError("unknown option '" + std::string(option) + "'");
    }
  }
  checkCombination(config);
  if (!config.certFile && !config.certDir) {
    config.certDir = defaultCertificateDirectory(environment);
  }
  return config;
}

std::filesystem::path DevServerCommandLine::defaultCertificateDirectory(
    const Environment& environment) {
  const auto absolute = [&environment](const char* name) -> std::filesystem::path {
    const char* value = environment(name);
    const std::filesystem::path path(value == nullptr ? "" : value);
    return path.is_absolute() ? path : std::filesystem::path();
  };
  std::filesystem::path data = absolute("XDG_DATA_HOME");
  if (data.empty()) {
    const std::filesystem::path home = absolute("HOME");
    if (home.empty()) {
      throw DevServerError("neither XDG_DATA_HOME nor HOME names a directory; use --cert-dir DIR");
    }
    data = home / ".local" / "share";
  }
  return data / "lumora" / "devserver";
}

std::string DevServerCommandLine::banner(const DevServerEngine& server) {
  const std::string ca = server.caFile().string();
  return "lumora-devserver listening on " + server.baseUrl() + "\nCA certificate: " + ca +
         "\nA host trusts it when started with:\n  export LUMORA_CA_FILE=" + shellWord(ca);
}

bool DevServerCommandLine::wantsHelp(std::span<const std::string_view> arguments) {
  return std::any_of(arguments.begin(), arguments.end(), [](std::string_view argument) {
    return argument == "--help" || argument == "-h";
  });
}

}  // namespace lumora::tools
