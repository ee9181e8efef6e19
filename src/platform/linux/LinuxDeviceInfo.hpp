#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "platform/DeviceInfo.hpp"

namespace lumora::platform {

/// The device's identity on Linux: the kernel's machine field from uname, and
/// the distribution's name and version from os-release (NAME and VERSION_ID),
/// each falling back to uname's system name and release when missing.
class LinuxDeviceInfo : public DeviceInfo {
 public:
  /// osRelease: the os-release file to read; by default /etc/os-release, then
  /// /usr/lib/os-release.
  explicit LinuxDeviceInfo(std::filesystem::path osRelease = {});

  std::string machineField() const override;
  std::string systemName() const override;
  std::string systemVersion() const override;

  /// The assignments of an os-release text. Values may be bare or quoted with
  /// double or single quotes; inside double quotes a backslash escapes the
  /// next character. Comments, blank lines and malformed lines are skipped.
  static std::map<std::string, std::string> parseOsRelease(std::string_view text);

 private:
  std::string fieldOrUname(const std::string& key, std::string (*fallback)()) const;

  std::map<std::string, std::string> osRelease_;
};

}  // namespace lumora::platform
