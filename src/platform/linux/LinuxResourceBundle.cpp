#include "platform/linux/LinuxResourceBundle.hpp"

#include <dlfcn.h>

#include <utility>

#include "platform/linux/BundleDirectory.hpp"
#include "platform/linux/CappedFile.hpp"

namespace lumora::platform {
namespace {

std::vector<std::filesystem::path> defaultDirectories() {
  const std::filesystem::path own = LinuxResourceBundle::libraryDirectory();
  if (own.empty()) return {};
  // <prefix>/lib/libl… or, on multiarch systems, <prefix>/lib/<triplet>/libl…
  return {own, (own / ".." / "share" / "lumora").lexically_normal(),
          (own / ".." / ".." / "share" / "lumora").lexically_normal()};
}

}  // namespace

LinuxResourceBundle::LinuxResourceBundle() {
  if (auto configured = configuredBundleDirectory()) {
    directories_ = {std::move(*configured)};
  } else {
    directories_ = defaultDirectories();
  }
}

LinuxResourceBundle::LinuxResourceBundle(std::filesystem::path directory)
    : directories_{std::move(directory)} {}

std::optional<std::vector<std::uint8_t>> LinuxResourceBundle::resource(
    const std::string& name, const std::string& type) const {
  const std::string fileName = type.empty() ? name : name + "." + type;
  for (const auto& directory : directories_) {
    const auto file = CappedFile::read(directory / fileName, kMaxResourceSize, true);
    if (file.status == CappedFile::Status::read) {
      return std::vector<std::uint8_t>(file.contents.begin(), file.contents.end());
    }
  }
  return std::nullopt;
}

const std::vector<std::filesystem::path>& LinuxResourceBundle::searchDirectories() const {
  return directories_;
}

std::filesystem::path LinuxResourceBundle::libraryDirectory() {
  Dl_info info{};
  // Any function of this library identifies the binary it was loaded from.
  if (dladdr(reinterpret_cast<const void*>(&LinuxResourceBundle::libraryDirectory), &info) == 0 ||
      info.dli_fname == nullptr) {
    return {};
  }
  std::error_code error;
  auto file = std::filesystem::canonical(info.dli_fname, error);
  if (error) file = std::filesystem::absolute(info.dli_fname, error);
  return error ? std::filesystem::path{} : file.parent_path();
}

}  // namespace lumora::platform
