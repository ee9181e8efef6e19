#include "lumora-sim/PrivateDirectory.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "scenario/ScenarioError.hpp"

namespace lumora::tools {

PrivateDirectory::PrivateDirectory() {
  std::error_code error;
  const std::filesystem::path base = std::filesystem::temp_directory_path(error);
  // mkdtemp creates the folder with mode 0700 under a random name.
  std::string pattern = ((error ? "/tmp" : base) / "lumora-sim-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw ScenarioError("cannot create a private folder in " + pattern + ": " +
                        std::strerror(errno));
  }
  path_ = pattern;
}

PrivateDirectory::~PrivateDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace lumora::tools
