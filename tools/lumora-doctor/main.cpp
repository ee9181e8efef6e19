// lumora-doctor [--json] [--config FILE]
// Tells whether this machine can run the SDK and what to fix: sdk.plist,
// bluetooth, notifications, network, endpoints, user-defaults. Exit status:
// 0 when no check is an error, 1 otherwise, 2 for bad arguments.

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "lumora-doctor/BluetoothCheck.hpp"
#include "lumora-doctor/DoctorCommandLine.hpp"
#include "lumora-doctor/EndpointCheck.hpp"
#include "lumora-doctor/NetworkCheck.hpp"
#include "lumora-doctor/NotificationCheck.hpp"
#include "lumora-doctor/ReportPrinter.hpp"
#include "lumora-doctor/SdkPlistCheck.hpp"
#include "lumora-doctor/UserDefaultsCheck.hpp"
#include "lumora/LogControl.hpp"
#include "platform/linux/CertificateTrust.hpp"

namespace {

using namespace lumora::doctor;

constexpr std::chrono::milliseconds kBusTimeout{3000};
constexpr std::chrono::milliseconds kTlsTimeout{5000};

std::vector<Check> runChecks(const DoctorCommandLine& line) {
  auto configuration = SdkPlistCheck::run(line.configFile);
  std::vector<Check> checks;
  checks.push_back(std::move(configuration.check));
  checks.push_back(BluetoothCheck::run(kBusTimeout));
  checks.push_back(NotificationCheck::run(kBusTimeout));
  checks.push_back(NetworkCheck::run());
  checks.push_back(EndpointCheck::run(configuration.environments,
                                      lumora::platform::configuredExtraCaFile(), kTlsTimeout));
  checks.push_back(UserDefaultsCheck::run());
  return checks;
}

}  // namespace

int main(int argc, char** argv) {
  // The SDK's readers log what they find; the doctor reports the same findings
  // itself, and its standard output must stay one report (or one JSON object).
  lumora::setLogLevel(lumora::LumoraLogLevel::off);
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  DoctorCommandLine line;
  try {
    line = DoctorCommandLine::parse(arguments);
  } catch (const std::invalid_argument& error) {
    std::cerr << "lumora-doctor: " << error.what() << " (" << DoctorCommandLine::kUsage << ")\n";
    return 2;
  }
  if (line.help) {
    std::cout << DoctorCommandLine::kUsage << '\n';
    return 0;
  }
  const auto checks = runChecks(line);
  if (line.json) {
    ReportPrinter::printJson(checks, std::cout);
  } else {
    ReportPrinter::printText(checks, std::cout);
  }
  return ReportPrinter::blocked(checks) ? 1 : 0;
}
