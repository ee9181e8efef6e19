#include "core/identity/DeviceIdentifier.hpp"

#include "platform/Platform.hpp"

namespace lumora {

std::string DeviceIdentifier::getDeviceModel() {
  const auto device = platform::Platform::installed()->deviceInfo();
  return device ? modelFromMachineField(device->machineField()) : std::string();
}

std::string DeviceIdentifier::modelFromMachineField(std::string_view field) {
  std::string model;
  model.reserve(field.size());
  for (const char c : field) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == 0) continue;
    if (byte < 0x80) {
      model.push_back(c);
    } else {
      model.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      model.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return model;
}

}  // namespace lumora
