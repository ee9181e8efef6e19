#include "lumora-doctor/UserDefaultsCheck.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "lumora-doctor/Findings.hpp"
#include "platform/linux/PlistUserDefaults.hpp"

namespace lumora::doctor {
namespace {

namespace fs = std::filesystem;

/// Creates and removes a file in `folder`; the error text, or empty.
std::string tryWrite(const fs::path& folder) {
  std::string name = (folder / ".lumora-doctor-XXXXXX").string();
  const int fd = mkstemp(name.data());
  if (fd < 0) return std::strerror(errno);
  close(fd);
  unlink(name.c_str());
  return {};
}

/// The closest ancestor of `folder` that exists (it may not be a directory).
fs::path nearestExisting(fs::path folder) {
  std::error_code error;
  while (!fs::exists(folder, error) && folder.has_relative_path()) folder = folder.parent_path();
  return folder;
}

}  // namespace

Check UserDefaultsCheck::run() {
  Findings findings;
  const fs::path folder = platform::PlistUserDefaults::defaultPath().parent_path();
  const std::string remedy =
      "make " + folder.string() + " a folder this user can write, or set XDG_CONFIG_HOME";
  std::error_code error;
  if (fs::is_directory(folder, error)) {
    const std::string failure = tryWrite(folder);
    if (failure.empty()) {
      findings.ok(folder.string() + " writable");
    } else {
      findings.error(folder.string() + " is not writable (" + failure +
                         "): the installation identifier changes on every start",
                     remedy);
    }
    return findings.check("user-defaults");
  }
  const fs::path parent = nearestExisting(folder);
  if (fs::is_directory(parent, error) && access(parent.c_str(), W_OK | X_OK) == 0) {
    findings.ok(folder.string() + " does not exist yet; the SDK creates it in " + parent.string());
  } else {
    findings.error(folder.string() + " cannot be created (" + parent.string() +
                       " is not a writable folder): the installation identifier changes on every "
                       "start",
                   remedy);
  }
  return findings.check("user-defaults");
}

}  // namespace lumora::doctor
