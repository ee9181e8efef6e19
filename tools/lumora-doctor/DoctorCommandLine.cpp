#include "lumora-doctor/DoctorCommandLine.hpp"

#include <stdexcept>
#include <string>

namespace lumora::doctor {

DoctorCommandLine DoctorCommandLine::parse(std::span<const std::string_view> arguments) {
  DoctorCommandLine line;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto argument = arguments[i];
    if (argument == "--json") {
      line.json = true;
    } else if (argument == "--help" || argument == "-h") {
      line.help = true;
    } else if (argument == "--config") {
      if (i + 1 == arguments.size() || arguments[i + 1].empty()) {
        throw std::invalid_argument("--config needs a FILE");
      }
      line.configFile = std::filesystem::path(arguments[++i]);
    } else {
      throw std::invalid_argument("unknown argument '" + std::string(argument) + "'");
    }
  }
  return line;
}

}  // namespace lumora::doctor
