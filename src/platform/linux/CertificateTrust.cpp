#include "platform/linux/CertificateTrust.hpp"

#include <cstdlib>
#include <mutex>
#include <utility>

#include "lumora/LinuxTrust.hpp"

namespace lumora {
namespace {

constexpr const char* kEnvironmentVariable = "LUMORA_CA_FILE";

std::mutex& choiceMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string& chosenFile() {
  static std::string file;
  return file;
}

}  // namespace

void setExtraCertificateAuthorities(std::string pemFile) {
  std::lock_guard lock(choiceMutex());
  chosenFile() = std::move(pemFile);
}

namespace platform {

std::optional<std::string> configuredExtraCaFile() {
  {
    std::lock_guard lock(choiceMutex());
    if (!chosenFile().empty()) return chosenFile();
  }
  const char* named = std::getenv(kEnvironmentVariable);
  if (named && *named) return std::string(named);
  return std::nullopt;
}

}  // namespace platform
}  // namespace lumora
