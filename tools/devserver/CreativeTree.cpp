#include "devserver/CreativeTree.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

std::vector<std::string_view> splitSegments(std::string_view path) {
  std::vector<std::string_view> segments;
  if (path.starts_with('/')) {
    path.remove_prefix(1);
  }
  std::size_t begin = 0;
  while (true) {
    const std::size_t slash = path.find('/', begin);
    segments.push_back(path.substr(begin, slash - begin));
    if (slash == std::string_view::npos) {
      return segments;
    }
    begin = slash + 1;
  }
}

bool isDigit(std::string_view segment) {
  return segment.size() == 1 && segment[0] >= '0' && segment[0] <= '9';
}

/// bucket, "binding", an optional "-", one or more single digits, "ios.json".
bool isCreativePath(const std::vector<std::string_view>& segments) {
  if (segments.size() < 4 || segments[0].empty() || segments[0] == "." ||
      segments[1] != "binding" || segments.back() != "ios.json") {
    return false;
  }
  auto first = segments.begin() + 2;
  const auto last = segments.end() - 1;
  if (*first == "-") {
    ++first;
  }
  return first != last && std::all_of(first, last, isDigit);
}

std::string readFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

CreativeTree::CreativeTree(const std::filesystem::path& root) {
  std::error_code error;
  if (!std::filesystem::is_directory(root, error)) {
    throw DevServerError("creative tree " + root.string() + " is not a directory");
  }
  root_ = std::filesystem::canonical(root);
}

CreativeLookup CreativeTree::lookup(std::string_view urlPath) const {
  const std::vector<std::string_view> segments = splitSegments(urlPath);
  if (std::find(segments.begin(), segments.end(), "..") != segments.end()) {
    return {403, "path leaves the creative tree\n"};
  }
  if (!urlPath.starts_with('/') || urlPath.find('\0') != std::string_view::npos ||
      !isCreativePath(segments)) {
    return {404, "not a creative path: <bucket>/binding/<digits>/ios.json\n"};
  }
  const std::filesystem::path file = root_ / std::filesystem::path(urlPath.substr(1));
  if (!staysInside(file)) {
    return {403, "path leaves the creative tree\n"};
  }
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) {
    return {404, "no creative at this path\n"};
  }
  return {200, readFile(file)};
}

bool CreativeTree::staysInside(const std::filesystem::path& file) const {
  // Symbolic links inside the tree may point anywhere; judge where they lead.
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, error);
  if (error) {
    return false;
  }
  return std::mismatch(root_.begin(), root_.end(), resolved.begin(), resolved.end()).first ==
         root_.end();
}

}  // namespace lumora::tools
