#include "platform/sim/SimDeviceInfo.hpp"

#include <utility>

namespace lumora::platform {

SimDeviceInfo::SimDeviceInfo(std::string machine, std::string systemName, std::string systemVersion)
    : systemName_(std::move(systemName)), systemVersion_(std::move(systemVersion)) {
  setMachine(machine);
}

std::string SimDeviceInfo::machineField() const {
  std::lock_guard lock(mutex_);
  return machineField_;
}

std::string SimDeviceInfo::systemName() const {
  std::lock_guard lock(mutex_);
  return systemName_;
}

std::string SimDeviceInfo::systemVersion() const {
  std::lock_guard lock(mutex_);
  return systemVersion_;
}

void SimDeviceInfo::setMachineField(std::string field) {
  std::lock_guard lock(mutex_);
  machineField_ = std::move(field);
}

void SimDeviceInfo::setMachine(const std::string& machine) {
  std::string field = machine;
  if (field.size() < kMachineFieldSize) field.resize(kMachineFieldSize, '\0');
  setMachineField(std::move(field));
}

}  // namespace lumora::platform
