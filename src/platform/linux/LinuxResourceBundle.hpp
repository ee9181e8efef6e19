#pragma once

#include <filesystem>
#include <vector>

#include "platform/ResourceBundle.hpp"

namespace lumora::platform {

/// The library's resources as files on disk. resource("sdk", "plist") reads
/// "sdk.plist" from the first search directory that has it:
///   - the directory given to the constructor (or to lumora::setBundleDirectory),
///     alone, when there is one;
///   - otherwise the directory of the binary that contains the library's code
///     (the shared object, or the executable it is linked into), then
///     ../share/lumora relative to it.
/// Only a regular file is read, without blocking, and only when it is no
/// larger than kMaxResourceSize.
class LinuxResourceBundle : public ResourceBundle {
 public:
  /// Uses lumora::setBundleDirectory()'s directory if one was set, else the
  /// library's own location.
  LinuxResourceBundle();
  explicit LinuxResourceBundle(std::filesystem::path directory);

  std::optional<std::vector<std::uint8_t>> resource(const std::string& name,
                                                    const std::string& type) const override;

  const std::vector<std::filesystem::path>& searchDirectories() const;
  /// The directory of the binary holding this code, found with dladdr(3);
  /// empty when it cannot be determined.
  static std::filesystem::path libraryDirectory();

 private:
  std::vector<std::filesystem::path> directories_;
};

}  // namespace lumora::platform
