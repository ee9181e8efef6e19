// Writes arbitrary bytes as the user-defaults file, then loads it, recovers
// from it and writes to it the way the SDK does, and checks that the store
// ends whole: a fresh reader sees what was set, the identifier read first is
// kept, and reading again sets nothing more aside.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "FuzzCheck.hpp"
#include "platform/linux/PlistUserDefaults.hpp"
#include "platform/sim/SimPlatform.hpp"

namespace {

using lumora::fuzz::check;
using lumora::fuzz::simPlatform;

namespace fs = std::filesystem;
constexpr const char* kUuidKey = "LumoraBeaconSDK.UUID";

// A private folder, on memory-backed storage when there is some.
const fs::path& folder() {
  static const fs::path path =
      (fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path()) /
      ("lumora-store-fuzz-" + std::to_string(getpid()));
  return path;
}

std::size_t entries() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder())) ++count;
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto& platform = simPlatform();
  fs::remove_all(folder());
  fs::create_directories(folder());
  const fs::path file = folder() / "defaults.plist";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  {
    lumora::platform::PlistUserDefaults store(file);
    const auto identifier = store.stringForKey(kUuidKey);
    store.setString("LumoraBeaconSDK.Email", "a@example.com");
    store.removeObject("LumoraBeaconSDK.PhoneNumber");

    const std::size_t before = entries();
    const lumora::platform::PlistUserDefaults reader(file);
    check(reader.stringForKey(kUuidKey) == identifier);
    check(reader.stringForKey("LumoraBeaconSDK.Email") == "a@example.com");
    check(reader.stringForKey("LumoraBeaconSDK.PhoneNumber") == std::nullopt);
    check(entries() == before);
  }
  platform->log->clear();
  fs::remove_all(folder());
  return 0;
}
