#pragma once

#include <string>

namespace lumora::platform {

/// The device's identity.
class DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;
  /// The kernel's machine field as uname fills it: fixed size, zero-padded.
  virtual std::string machineField() const = 0;
  virtual std::string systemName() const = 0;
  virtual std::string systemVersion() const = 0;
};

}  // namespace lumora::platform
