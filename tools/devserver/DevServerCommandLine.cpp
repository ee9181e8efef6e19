#include "devserver/DevServerCommandLine.hpp"

#include <algorithm>
#include <charconv>
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

DevServerConfig DevServerCommandLine::parse(std::span<const std::string_view> arguments) {
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
  return config;
}

bool DevServerCommandLine::wantsHelp(std::span<const std::string_view> arguments) {
  return std::any_of(arguments.begin(), arguments.end(), [](std::string_view argument) {
    return argument == "--help" || argument == "-h";
  });
}

}  // namespace lumora::tools
