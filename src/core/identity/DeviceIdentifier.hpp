#pragma once

#include <string>
#include <string_view>

namespace lumora {

/// The device's hardware model identifier: the kernel's machine name.
class DeviceIdentifier {
 public:
  DeviceIdentifier() = default;

  /// The installed platform's machine field with every zero byte dropped.
  static std::string getDeviceModel();

  /// The walk itself: every byte of the field in order, zero bytes skipped.
  /// A byte with the high bit set (which no kernel writes) is taken as a
  /// Latin-1 character and encoded in UTF-8, so the model stays valid text
  /// when it is sent in a JSON body.
  static std::string modelFromMachineField(std::string_view field);
};

}  // namespace lumora
