#pragma once

#include <mutex>
#include <string>

#include "platform/DeviceInfo.hpp"

namespace lumora::platform {

/// Scripted device identity. The machine name is stored zero-padded to the
/// size of the kernel's field, as uname would fill it.
class SimDeviceInfo : public DeviceInfo {
 public:
  static constexpr std::size_t kMachineFieldSize = 256;

  SimDeviceInfo(std::string machine = "x86_64", std::string systemName = "Linux",
                std::string systemVersion = "6.1");

  std::string machineField() const override;
  std::string systemName() const override;
  std::string systemVersion() const override;

  /// Sets the field exactly as given (any bytes, any length).
  void setMachineField(std::string field);
  /// Sets the machine name, zero-padded to the field size.
  void setMachine(const std::string& machine);

 private:
  mutable std::mutex mutex_;
  std::string machineField_;
  std::string systemName_;
  std::string systemVersion_;
};

}  // namespace lumora::platform
