// lumora-bluez-load: plays bluetoothd on a D-Bus bus with a chosen load of
// advertisements, so that a host embedding the SDK can be soak-tested
// without radios.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

#include "tools/bluez-load/FakeBluetoothd.hpp"

namespace {

volatile std::sig_atomic_t stopFlag = 0;

void onSignal(int) { stopFlag = 1; }

constexpr const char* kUsage =
    "usage: lumora-bluez-load [--bus ADDRESS] [--rate SIGNALS_PER_SECOND] [--seconds S]\n"
    "                         [--devices N] [--ibeacon-share F] [--foreign-share F]\n"
    "                         [--identities K] [--identity-lifetime S] [--ibeacon-uuid UUID]\n"
    "                         [--service-uuid UUID] [--space-id HEX16]\n";

double number(const std::string& option, const char* text, double min, double max) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || !(value >= min && value <= max)) {
    throw std::invalid_argument(option + " wants a number from " + std::to_string(min) + " to " +
                                std::to_string(max));
  }
  return value;
}

lumora::tools::LoadPlan parse(int argc, char** argv) {
  lumora::tools::LoadPlan plan;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--help") throw std::invalid_argument("");
    if (i + 1 >= argc) throw std::invalid_argument(option + " wants a value");
    const char* value = argv[++i];
    if (option == "--bus") {
      plan.busAddress = value;
    } else if (option == "--rate") {
      plan.rate = number(option, value, 0.001, 1e6);
    } else if (option == "--seconds") {
      plan.seconds = number(option, value, 0, 1e7);
    } else if (option == "--devices") {
      plan.devices = static_cast<std::uint32_t>(number(option, value, 1, 1e6));
    } else if (option == "--ibeacon-share") {
      plan.iBeaconShare = number(option, value, 0, 1);
    } else if (option == "--foreign-share") {
      plan.foreignShare = number(option, value, 0, 1);
    } else if (option == "--identities") {
      plan.identities = static_cast<std::uint32_t>(number(option, value, 1, 1e6));
    } else if (option == "--identity-lifetime") {
      plan.identityLifetime = number(option, value, 0.001, 1e7);
    } else if (option == "--ibeacon-uuid") {
      plan.iBeaconUuid = value;
    } else if (option == "--service-uuid") {
      plan.serviceUuid = value;
    } else if (option == "--space-id") {
      plan.spaceId = value;
    } else {
      throw std::invalid_argument("unknown option " + option);
    }
  }
  if (plan.iBeaconShare + plan.foreignShare > 1) {
    throw std::invalid_argument("--ibeacon-share and --foreign-share add up to more than 1");
  }
  return plan;
}

}  // namespace

int main(int argc, char** argv) {
  lumora::tools::LoadPlan plan;
  try {
    plan = parse(argc, argv);
  } catch (const std::invalid_argument& error) {
    if (*error.what()) std::fprintf(stderr, "lumora-bluez-load: %s\n", error.what());
    std::fputs(kUsage, stderr);
    return 2;
  }
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
  try {
    lumora::tools::FakeBluetoothd daemon(plan);
    std::printf("lumora-bluez-load: org.bluez owned, %u devices, %.0f signals/s\n", plan.devices,
                plan.rate);
    std::fflush(stdout);
    const auto report = daemon.run(&stopFlag);
    std::printf(
        "lumora-bluez-load: sent %llu signals in %.1f s (%.0f/s), skipped %llu, "
        "CPU %.2f s (%.2f us per signal)\n",
        static_cast<unsigned long long>(report.sent), report.seconds,
        static_cast<double>(report.sent) / report.seconds,
        static_cast<unsigned long long>(report.skipped), report.cpuSeconds,
        report.sent ? report.cpuSeconds * 1e6 / static_cast<double>(report.sent) : 0.0);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lumora-bluez-load: %s\n", error.what());
    return 1;
  }
}
