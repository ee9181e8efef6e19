#pragma once

#include <filesystem>

namespace lumora::tools {

/// A folder only this user can enter (mode 0700, a name nobody can predict),
/// created under the temporary directory and removed with everything in it
/// when the object goes, also when a run ends with an error.
class PrivateDirectory {
 public:
  /// Throws ScenarioError when the folder cannot be created.
  PrivateDirectory();
  ~PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace lumora::tools
