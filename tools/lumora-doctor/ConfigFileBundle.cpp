#include "lumora-doctor/ConfigFileBundle.hpp"

#include <fstream>
#include <iterator>
#include <utility>

namespace lumora::doctor {
namespace {

constexpr std::uintmax_t kLargestFile = 4 * 1024 * 1024;

}  // namespace

ConfigFileBundle::ConfigFileBundle(std::filesystem::path file) : file_(std::move(file)) {}

std::optional<std::vector<std::uint8_t>> ConfigFileBundle::resource(const std::string& name,
                                                                    const std::string& type) const {
  if (name != "sdk" || type != "plist") return std::nullopt;
  std::error_code error;
  if (!std::filesystem::is_regular_file(file_, error)) return std::nullopt;
  const auto size = std::filesystem::file_size(file_, error);
  if (error || size > kLargestFile) return std::nullopt;
  std::ifstream in(file_, std::ios::binary);
  if (!in) return std::nullopt;
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return bytes;
}

}  // namespace lumora::doctor
