#include "platform/linux/LinuxResourceBundle.hpp"

#include <dlfcn.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "platform/linux/BundleDirectory.hpp"

namespace lumora::platform {
namespace {

std::vector<std::filesystem::path> defaultDirectories() {
  const std::filesystem::path own = LinuxResourceBundle::libraryDirectory();
  if (own.empty()) return {};
  // <prefix>/lib/libl… or, on multiarch systems, <prefix>/lib/<triplet>/libl…
  return {own, (own / ".." / "share" / "lumora").lexically_normal(),
          (own / ".." / ".." / "share" / "lumora").lexically_normal()};
}

std::optional<std::vector<std::uint8_t>> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return bytes;
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
    std::error_code error;
    const auto path = directory / fileName;
    if (!std::filesystem::is_regular_file(path, error)) continue;
    if (auto bytes = readFile(path)) return bytes;
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
